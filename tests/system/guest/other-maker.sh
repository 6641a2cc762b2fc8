# A board of another maker's, whose BIOS speaks of this one's in a record that is not the board's.

run kestrel -t
says "a first start" 255 "$banner" "Warn: This is not Brigantine's motherboard!\n"
is "a first start: no configuration is made" "" "$(ls /etc/Kestrel.ini* 2>/dev/null)"

# Nobody asks for the maker once there is a configuration.
section H4DG-T | sed 's/^INDEXREG=.*/INDEXREG=70/; s/^DATAREG=.*/DATAREG=71/' >/etc/Kestrel.ini
run kestrel -r "No Such Switch"
says "with a configuration" 0 "$banner" "Warning! \"No Such Switch\" is not found.\n\n"
