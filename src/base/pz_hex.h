/* Hexadecimal text of byte buffers. */
#ifndef PZ_HEX_H
#define PZ_HEX_H

#include "pzvariant/pz_string.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A new string of two lower-case digits per byte; empty for no bytes (then
 * `bytes` may be null). Null when out of memory. */
pz_string_t *pz_hex(const void *bytes, int count);

/* Decodes `count` characters of hexadecimal text (either case) into a new
 * HAL_Malloc block of count/2 bytes, which the caller frees with HAL_Free.
 * Null for an odd count, a character that is not a digit, or out of memory.
 * An empty text gives a non-null block of no bytes. */
uint8_t *pz_hex2bytes(const void *text, int count);

/* Whether `count` characters of `text` are hexadecimal text that
 * pz_hex2bytes decodes: an even number of digits, either case. For a
 * reader that must tell a bad text from a failed allocation. */
bool pz_is_hex(const void *text, size_t count);

#ifdef __cplusplus
}
#endif

#endif /* PZ_HEX_H */
