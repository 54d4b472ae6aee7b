// Value lifecycle: references, release and the release queue. Each kind's
// release is with its kind (core/strings.h, core/pointers.h,
// core/container_storage.h).
//
// Releasing a container releases what it holds, and that can nest to any
// depth. Instead of recursing, a value whose last reference goes while a
// release is already running on this thread is put on a queue and released
// by the outermost release, in the order the references went. The queue is
// linked through the dead values' own count headers (a count that reached zero
// is no longer needed), so releasing never allocates and never fails.
#include "core/container_storage.h"
#include "core/pointers.h"
#include "core/record.h"
#include "core/release.h"
#include "core/strings.h"

using namespace pz;

/* ---------- release queue ---------- */

namespace {

struct release_queue {
    pz_variant_t *head = nullptr;
    pz_variant_t *tail = nullptr;
    bool active = false;
};

#if PZ_NO_THREADS
release_queue queue;  // built for one thread
#else
thread_local release_queue queue;
#endif

static_assert(PZ_REF_HEADER >= sizeof(pz_variant_t *), "the count header carries the queue link");

pz_variant_t *next_of(pz_variant_t *v) {
    pz_variant_t *next;
    std::memcpy(&next, reinterpret_cast<char *>(v) - PZ_REF_HEADER, sizeof next);
    return next;
}

void set_next(pz_variant_t *v, pz_variant_t *next) {
    std::memcpy(reinterpret_cast<char *>(v) - PZ_REF_HEADER, &next, sizeof next);
}

void enqueue(pz_variant_t *v) {
    set_next(v, nullptr);
    if (queue.tail != nullptr) {
        set_next(queue.tail, v);
    } else {
        queue.head = v;
    }
    queue.tail = v;
}

// Kinds whose release can drop further references or run caller code.
bool releases_others(char vt) {
    return vt == vtype_array || vt == vtype_dict || vt == vtype_autoptr || vt == vtype_sharedptr;
}

// Releases what `v` holds and resets it to the empty null value.
void release_contents(pz_variant_t *v) {
    switch (v->vt) {
        case vtype_autoptr:
        case vtype_sharedptr:
            release_pointer(v);
            break;
        case vtype_array:
        case vtype_dict:
            release_container(v);
            break;
        case vtype_string:
        case vtype_bytes:
            release_text(v);
            break;
        default:
            reset_record(v);
            break;
    }
}

void destroy(pz_variant_t *v) {
    // A value that lives in its record's block alone (a scalar, a string
    // whose text follows the record) has nothing to release.
    const bool holds_blocks = v->vt == vtype_string ? v->layout != layout_text
                                                    : v->vt == vtype_bytes || releases_others(v->vt);
    if (holds_blocks) {
        release_contents(v);
    }
    pz_free_ref(v);
}

}  // namespace

void pz::release_scope_enter(bool *outermost) {
    *outermost = !queue.active;
    queue.active = true;
}

void pz::release_scope_leave(bool outermost) {
    if (!outermost) return;
    // Releasing a queued value may queue more; the loop drains them all.
    while (queue.head != nullptr) {
        pz_variant_t *v = queue.head;
        queue.head = next_of(v);
        if (queue.head == nullptr) queue.tail = nullptr;
        destroy(v);
    }
    queue.active = false;
}

void pz::release_later(pz_variant_t *v) {
    if (v != nullptr && pz_atomic_unref(pz_ref_count(v)) == 0) enqueue(v);
}

/* ---------- public lifecycle ---------- */

extern "C" {

pz_variant_t *pz_variant_ref(pz_variant_t *v) {
    if (v != nullptr) pz_atomic_ref(pz_ref_count(v));
    return v;
}

void pz_variant_unref(pz_variant_t *v) {
    if (v == nullptr) return;
    // Only the exact drop to zero frees; a count driven below zero by
    // unbalanced calls frees nothing more.
    if (pz_atomic_unref(pz_ref_count(v)) != 0) return;
    if (!releases_others(v->vt)) {
        destroy(v);
    } else if (queue.active) {
        enqueue(v);
    } else {
        in_release_scope([v] { destroy(v); });
    }
}

void pz_variant_clear(pz_variant_t *v) {
    if (v == nullptr) return;
    if (releases_others(v->vt)) {
        in_release_scope([v] { release_contents(v); });
    } else {
        release_contents(v);
    }
}

}  // extern "C"
