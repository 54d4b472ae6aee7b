// Private to the library: the working tree that JSON Patch runs its
// operations on, so that a patch changes the document all or nothing.
//
// The tree begins as the document itself and is never written where the
// document is. A container that an operation changes is first copied one
// level deep (a shadow: a new container holding new references to the
// same children), and so is every container on the way to it, each
// parent's shadow pointing at its child's. Everything that can fail
// happens there. commit() then moves each shadow's storage into the record
// it stands for, which cannot fail: the document keeps its records, a
// handle into it sees the change, and the work is in proportion to the
// containers changed, not to the document.
#ifndef PZ_PATCH_TREE_H
#define PZ_PATCH_TREE_H

#include "base/pz_array.h"
#include "base/pz_hash_table.h"
#include "pzvariant/pz_variant.h"

namespace pz {

class patch_tree {
public:
    explicit patch_tree(pz_variant_t *doc) : doc_(doc), root_(doc) {}
    patch_tree(const patch_tree &) = delete;
    patch_tree &operator=(const patch_tree &) = delete;
    // Drops the shadows: before commit(), the document is as it was.
    ~patch_tree();

    // The root of the working tree: the document, its shadow or what
    // replaced it.
    pz_variant_t *root() const { return root_; }

    // What stands for `v` in the working tree: its shadow when it has one.
    // (A child read from a shadow is already its shadow; this matters for a
    // container that the document holds in two places.)
    pz_variant_t *current(pz_variant_t *v) const;

    // The working container `c`, read from a writable container, made
    // writable: itself when it is a shadow, else its shadow, made now when it
    // has none. The caller stores the result where `c` was. Null when out of
    // memory.
    pz_variant_t *writable(pz_variant_t *c);
    // The root made writable (when it is a container); null when out of
    // memory.
    pz_variant_t *writable_root();
    // Whether `v` is a shadow made here, which may be written.
    bool is_writable(const pz_variant_t *v) const;

    // Makes the root a copy of `v` (which the tree does not keep), whose
    // storage commit() moves into the document's record. False when out of
    // memory.
    bool replace_root(pz_variant_t *v);

    // Moves every change into the document. Cannot fail.
    void commit();

private:
    struct pair {
        pz_variant_t *original;
        pz_variant_t *shadow;
    };

    // The pair `v` is the original or the shadow of; -1 for none.
    long find(const void *v) const;
    // Records `shadow` (taken over) as standing for `original` (a reference
    // taken); false, with `shadow` released, when out of memory.
    bool add_pair(pz_variant_t *original, pz_variant_t *shadow);
    // The slots of `shadow` that hold a shadow hold its original instead.
    void repoint(pz_variant_t *shadow);
    pair *pairs() const { return reinterpret_cast<pair *>(pairs_->data); }

    pz_variant_t *doc_;
    pz_variant_t *root_;
    pz_array_t *pairs_ = nullptr;     // of pair
    pz_hash_table_t *index_ = nullptr;  // original or shadow -> its pair's index + 1
};

}  // namespace pz

#endif  // PZ_PATCH_TREE_H
