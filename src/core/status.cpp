// The texts of the statuses, the names of the kinds and the null value:
// what the reporting family and the C++ interface name things by, kept here
// once so that no caller keeps a table of its own.
#include "core/kinds.h"
#include "core/record.h"

extern "C" {

const char *pz_status_text(pz_status status) {
    switch (status) {
        case PZ_STATUS_OK: return "";
        case PZ_STATUS_NO_VALUE: return "no value";
        case PZ_STATUS_WRONG_KIND: return "not a kind it takes";
        case PZ_STATUS_INVALID_KEY: return "an empty key or one holding a NUL byte";
        case PZ_STATUS_NOT_FOUND: return "not found";
        case PZ_STATUS_OCCUPIED: return "the key holds a value of another kind";
        case PZ_STATUS_TOO_DEEP: return "nested deeper than PZ_VARIANT_MAX_DEPTH or containing itself";
        case PZ_STATUS_POINTER: return "a pointer kind it cannot take";
        case PZ_STATUS_INVALID_UTF8: return "a string that is not UTF-8";
        case PZ_STATUS_TOO_LARGE: return "too large for the format";
        case PZ_STATUS_OUT_OF_MEMORY: return "out of memory";
        case PZ_STATUS_STOPPED: return "stopped by the callback";
        case PZ_STATUS_CANNOT_OPEN: return "cannot open file";
        case PZ_STATUS_CANNOT_WRITE: return "cannot write file";
        case PZ_STATUS_INVALID_ARGUMENT: return "invalid argument";
    }
    return "unknown status";
}

const char *pz_variant_kind_name(pz_variant_type vt) {
    return pz::kKindNameOf[static_cast<unsigned char>(vt)];
}

pz_variant_t *pz_variant_null_new(void) { return pz::new_record(vtype_null); }

}  // extern "C"
