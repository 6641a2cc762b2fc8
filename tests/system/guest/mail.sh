# Mail by a real shell and a real `mail` command, Debian's bsd-mailx. What that hands to the mail system is kept.

mkdir -p /tmp/sent /usr/lib
ln -s /proc/self/mounts /etc/mtab
cat >/usr/sbin/sendmail <<'SENDMAIL'
#!/bin/sh
number=$(ls /tmp/sent | wc -l)
echo "$@" >/tmp/arguments
exec cat >/tmp/sent/$((number + 1))
SENDMAIL
chmod +x /usr/sbin/sendmail
echo 'root:x:0:0:root:/:/bin/sh' >/etc/passwd
chmod 1777 /tmp

# header NAME NUMBER: of the mail of that number; text NUMBER: what follows its headers.
header() { sed -n "/^\$/q; s/^$1: //p" "/tmp/sent/$2"; }

text() { sed '1,/^$/d; s/^at .* 20[0-9][0-9]$/at (the time)/' "/tmp/sent/$1"; }

arrived() { # ABOUT NUMBER SUBJECT RECIPIENTS NAME
  is "$1: subject" "$3" "$(header Subject "$2")"
  is "$1: recipients" "$4" "$(header To "$2" | tr -d , | tr ' ' '\n' | sort | xargs)" # it has an order of its own
  is "$1: text" "The system '$5' has the following health information:
FAN1 Failed(Bad)!
at (the time)" "$(text "$2")"
}

run send-mail-really health "root admin@example.org" "rack 7"
is "a health alert: outcome" "begin, sent" "$(cat $out)"
arrived "a health alert" 1 "Alert: system health warning!" "admin@example.org root" "rack 7"
is "the script: mode" 100 "$(stat -c %a /tmp/KestrelMailAlert)"

run send-mail-really test root "rack 7"
arrived "a test" 2 "Alert: E-mail Test!" root "rack 7"

# What a shell or a mailer would take for more than text.
name='$(touch /tmp/X) `touch /tmp/X` \ "$HOME" ~.'
run send-mail-really test "root;touch$(printf '\t')/tmp/X" "$name"
is "a hostile name: its text" "The system '$name' has the following health information:" "$(text 3 | head -n 1)"
is "hostile texts: nothing is run" "" "$(ls /tmp/X 2>/dev/null)"

# A link that another user has put there.
echo precious >/tmp/precious
rm -f /tmp/KestrelMailAlert
ln -s /tmp/precious /tmp/KestrelMailAlert
run send-mail-really test root "rack 7"
is "a link in the script's place: the mail" 4 "$(ls /tmp/sent | wc -l)"
is "a link in the script's place: what it leads to" precious "$(cat /tmp/precious)"

rm -f /tmp/KestrelMailAlert
mkdir -p /tmp/KestrelMailAlert/x
run send-mail-really test root "rack 7"
is "a directory in the script's place" "begin, no script" "$(cat $out)"
is "a directory in the script's place: what is reported" 1 "$(grep -c 'is a directory' $err)"
rm -r /tmp/KestrelMailAlert

mv /usr/bin/mail /usr/bin/mail.away
run send-mail-really health root "rack 7" 2
is "no mail command: outcome" "begin, sent, sent" "$(cat $out)" # how the script ended is not looked at
is "no mail command: what the shell says" 2 "$(grep -c 'mail: command not found' $err)"
