/** @file pz_variant.hpp
 * C++ interface to pzvariant (C++17 and later): a handle that owns one
 * reference, so that no caller writes pz_variant_unref by hand.
 *
 *     pz::value cfg = pz::dict({{"name", "sensor-7"}, {"readings", pz::array({21, 22})}});
 *     std::optional<int32_t> first = cfg["readings"][0].get<int32_t>();
 *     cfg.child("server").set("port", 9443);   // nested write, made on demand
 *
 * Every member is one call of the C API or a few, and every failure it
 * reports is the C library's status, mapped: misuse and bad input (a write
 * through an empty handle or to a value of the wrong kind, a key with a NUL
 * byte, a value that cannot be dumped) throw pz::error; allocation failure
 * throws std::bad_alloc and nothing else does; a file that cannot be used
 * throws std::system_error; no destructor throws. Reading with get<T>()
 * never converts between kinds; get_as<T>(), as<T>(), value_or() and the
 * comparisons with C++ numbers convert as the C checked reads do, exactly
 * or not at all. */
#ifndef PZ_VARIANT_HPP
#define PZ_VARIANT_HPP

#include "pz_variant.h"

#include "cpp/kinds.hpp"
#include "cpp/detail.hpp"
#include "cpp/reader.hpp"
#include "cpp/view.hpp"
#include "cpp/value.hpp"
#include "cpp/iteration.hpp"
#include "cpp/build.hpp"
#include "cpp/convert.hpp"
#include "cpp/hash.hpp"
#include "cpp/text.hpp"
#include "cpp/files.hpp"
#include "cpp/shared_keys.hpp"
#include "cpp/patch.hpp"
#include "cpp/json_options.hpp"
#include "cpp/dump_strict.hpp"
#include "cpp/events.hpp"
#include "cpp/stream.hpp"

/** The C++ interface: pz::value and the functions that make values. */
namespace pz {

/** @defgroup cpp C++ interface
 * pz::value, a handle owning one reference, and the functions that make
 * values (pz::dict, pz::array, pz::pack, pz::from_dump).
 * @{ */
/** @} */
}  // namespace pz

#endif  // PZ_VARIANT_HPP
