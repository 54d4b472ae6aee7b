// Filling a reader's error report from the table of faults.
#include "io/read_error.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

struct fault_entry {
    pz_read_code code;
    const char *reason;
};

constexpr fault_entry kFaults[] = {
#define PZ_FAULT_ENTRY(name, code, reason) {code, reason},
    PZ_READ_FAULTS(PZ_FAULT_ENTRY)
#undef PZ_FAULT_ENTRY
};

// Every reason fits the record with its terminator.
constexpr bool reasons_fit() {
    for (const fault_entry &f : kFaults) {
        if (std::string_view(f.reason).size() >= sizeof(pz_read_error_t{}.reason)) return false;
    }
    return true;
}
static_assert(reasons_fit(), "a reason longer than pz_read_error_t holds");

void fill(pz_read_error_t *error, pz::fault f, size_t offset) {
    const char *reason = pz::reason_of(f);
    error->code = pz::code_of(f);
    error->offset = offset;
    const size_t n = std::strlen(reason);
    std::memcpy(error->reason, reason, n + 1);
    error->line = 0;
    error->column = 0;
    error->sys_errno = 0;
}

}  // namespace

pz_read_code pz::code_of(fault f) { return kFaults[static_cast<size_t>(f)].code; }
const char *pz::reason_of(fault f) { return kFaults[static_cast<size_t>(f)].reason; }

pz_variant_t *pz::read_fault(pz_read_error_t *error, fault f, const char *text, size_t len, size_t offset) {
    if (error == nullptr) return nullptr;
    fill(error, f, offset);
    if (text == nullptr) return nullptr;
    // Only on the way out of a refused read, so a plain count will do. A
    // column counts characters: every byte but UTF-8's continuation bytes.
    const size_t end = offset < len ? offset : len;
    size_t line = 1;
    size_t column = 1;
    for (size_t i = 0; i < end; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == '\n') {
            ++line;
            column = 1;
        } else if ((byte & 0xC0) != 0x80) {
            ++column;
        }
    }
    error->line = line;
    error->column = column;
    return nullptr;
}

pz_variant_t *pz::read_fault_binary(pz_read_error_t *error, fault f, size_t offset) {
    if (error != nullptr) fill(error, f, offset);
    return nullptr;
}

void pz::read_ok(pz_read_error_t *error) {
    if (error != nullptr) fill(error, fault::none, 0);
}

pz_variant_t *pz::read_fault_system(pz_read_error_t *error, fault f, int sys_errno) {
    if (error != nullptr) {
        fill(error, f, 0);
        error->sys_errno = sys_errno;
    }
    return nullptr;
}
