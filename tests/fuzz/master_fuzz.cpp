// Any bytes as the master file.
#include "config/generate.h"
#include "config/revision_rules.h"
#include "os_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_door::reset();
    fuzz_door::put_file(MASTER_INI, std::string(reinterpret_cast<const char *>(data), size));
    produce_kestrel_ini("H2SB-I", "9.9");
    return 0;
}
