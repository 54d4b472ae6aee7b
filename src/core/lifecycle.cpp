// Value lifecycle: references, release, clearing and change of kind.
//
// Releasing a container releases what it holds, and that can nest to any
// depth. Instead of recursing, a value whose last reference goes while a
// release is already running on this thread is put on a queue and released
// by the outermost release, in the order the references went. The queue is
// linked through the dead values' own count headers (a count that reached zero
// is no longer needed), so releasing never allocates and never fails.
#include "core/variant_internal.h"

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

// Drops a reference from inside a release; a value whose last reference
// this was is queued for the outermost release to free.
void drop_queued(pz_variant_t *v) {
    if (v != nullptr && pz_atomic_unref(pz_ref_count(v)) == 0) enqueue(v);
}

// Kinds whose release can drop further references or run caller code.
bool releases_others(char vt) {
    return vt == vtype_array || vt == vtype_dict || vt == vtype_autoptr || vt == vtype_sharedptr;
}

// Releases what `v` holds and resets it to the empty null value. The record
// is reset before anything is released, so that callbacks running meanwhile
// see a consistent, empty value.
void release_contents(pz_variant_t *v) {
    const char vt = v->vt;
    void *const held = v->ptr_val;
    if (vt == vtype_autoptr) {
        auto *rec = reinterpret_cast<v_autoptr_s *>(v);
        const pz_dtor_pt dtor = rec->dtor;
        rec->dtor = nullptr;
        reset_record(v);
        if (dtor != nullptr) dtor(held);  // a null destructor owns nothing to call
        return;
    }
    if (vt == vtype_sharedptr) {
        auto *rec = reinterpret_cast<v_sharedptr_t *>(v);
        const pz_unref_pt unref = rec->unref;
        rec->ref = nullptr;
        rec->unref = nullptr;
        reset_record(v);
        if (unref != nullptr) unref(held);
        return;
    }
    reset_record(v);
    switch (vt) {
        case vtype_array: {
            auto *a = static_cast<pz_array_t *>(held);
            if (a == nullptr) break;
            // The elements whose last reference goes are queued rather than
            // freed here, so that the storage is freed before them: freed
            // after a run of small blocks, a large one makes glibc merge them
            // all and hand the heap back to the kernel, which the next
            // program step then faults back in page by page.
            for (size_t i = 0; i < a->len; ++i) drop_queued(array_slots(a)[i]);
            pz_array_free(a);
            break;
        }
        case vtype_dict:
            pz_hash_table_free(static_cast<pz_hash_table_t *>(held));
            break;
        case vtype_string:
            // A text in the record's block goes with the block.
            if (v->layout == layout_text) {
                v->layout = layout_plain;
                break;
            }
            HAL_Free(held);
            break;
        case vtype_bytes:
            HAL_Free(held);
            break;
        default:
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

/* ---------- moving contents ---------- */

bool pz::own_contents(pz_variant_t *v) {
    if (v->vt == vtype_string && v->layout == layout_text) {
        void *text = pz_mem_dup(v->str_val, size_t{v->len} + 1);
        if (text == nullptr) return false;
        v->ptr_val = text;
        v->layout = layout_plain;
    } else if (v->vt == vtype_dict && v->ptr_val != nullptr && !pz_hash_table_in_own_block(dict_of(v))) {
        // The table's header lives in `v`'s block.
        pz_hash_table_t *own = pz_hash_table_move_out(dict_of(v));
        if (own == nullptr) return false;
        pz_hash_table_free(dict_of(v));  // empty now; its header goes with the block
        v->ptr_val = own;
    } else if (pz_array_t *a = array_of(v); a != nullptr && a->borrowed) {
        pz_array_t *own = pz_array_append_vals(pz_array_new(kElementSize, a->len), a->data, a->len);
        if (own == nullptr || own->len != a->len) {
            pz_array_free(own);
            return false;
        }
        v->ptr_val = own;
    }
    return true;
}

bool pz::move_contents(pz_variant_t *to, pz_variant_t *from) {
    if (!own_contents(from)) return false;
    pz_variant_clear(to);
    to->uint64_val = from->uint64_val;
    to->vt = from->vt;
    to->len = from->len;
    reset_record(from);
    return true;
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

pz_variant_t *pz_variant_change_type(pz_variant_t *v, pz_variant_type vt) {
    if (v == nullptr) return nullptr;
    const char code = static_cast<char>(vt);
    if (v->vt == code) return v;
    pz_variant_clear(v);
    switch (vt) {
        case vtype_array:
            v->vt = code;
            v->ptr_val = pz_array_new(kElementSize, kArrayReserve);
            return v;
        case vtype_dict:
            v->vt = code;
            v->ptr_val = dict_table_new();
            return v;
        case vtype_autoptr:
        case vtype_sharedptr: {
            // A plain record has no room for the callbacks: the caller's
            // reference moves to a new, empty record of the larger layout.
            const bool owned = vt == vtype_autoptr;
            pz_variant_t *replacement =
                owned ? new_record(vtype_null, sizeof(v_autoptr_s), layout_autoptr)
                      : new_record(vtype_null, sizeof(v_sharedptr_t), layout_sharedptr);
            pz_variant_unref(v);
            return replacement;
        }
        default:
            v->vt = code;
            return v;
    }
}

}  // extern "C"
