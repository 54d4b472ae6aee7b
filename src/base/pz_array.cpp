// Dynamic array: the header and the elements in one block, so growing moves
// the array and every call that changes the length returns the array to use.
#include "base/pz_array.h"

#include <cstring>

#include "base/pz_memory.h"

namespace {

// Elements of any kind (64-bit integers, doubles) follow the header aligned.
constexpr size_t kHeader = PZ_ALIGN_UP(sizeof(pz_array_t));

char *elements_of(pz_array_t *a) { return reinterpret_cast<char *>(a) + kHeader; }

// Bytes for the header and `capacity` elements; 0 on overflow.
size_t footprint(size_t elt_size, size_t capacity) {
    if (capacity != 0 && elt_size > (SIZE_MAX - kHeader) / capacity) return 0;
    return kHeader + elt_size * capacity;
}

pz_array_t *init_in(void *block, size_t elt_size, size_t capacity, bool borrowed) {
    auto *a = static_cast<pz_array_t *>(block);
    a->data = elements_of(a);
    a->len = 0;
    a->capacity = capacity;
    a->elt_size = elt_size;
    a->borrowed = borrowed;
    return a;
}

pz_array_t *alloc_array(size_t elt_size, size_t capacity) {
    const size_t size = footprint(elt_size, capacity);
    void *block = size != 0 ? HAL_Malloc(size) : nullptr;
    return block != nullptr ? init_in(block, elt_size, capacity, false) : nullptr;
}

// The array with room for `needed` elements in all, moved if it had to grow;
// null when it cannot grow (the array is then untouched).
pz_array_t *make_room(pz_array_t *a, size_t needed) {
    if (needed <= a->capacity) return a;
    size_t capacity = a->capacity < 8 ? 8 : a->capacity;
    while (capacity < needed) capacity = capacity > SIZE_MAX / 2 ? needed : capacity * 2;
    pz_array_t *grown = alloc_array(a->elt_size, capacity);
    if (grown == nullptr) return nullptr;
    std::memcpy(grown->data, a->data, a->len * a->elt_size);
    grown->len = a->len;
    pz_array_free(a);
    return grown;
}

// Opens `count` slots at `index` and fills them from `data`.
pz_array_t *insert(pz_array_t *a, size_t index, const void *data, size_t count) {
    if (a == nullptr) return nullptr;
    if (count == 0) return a;
    if (count > SIZE_MAX - a->len) return a;
    pz_array_t *grown = make_room(a, a->len + count);
    if (grown == nullptr) return a;
    if (index > grown->len) index = grown->len;
    const size_t size = grown->elt_size;
    char *at = grown->data + index * size;
    std::memmove(at + count * size, at, (grown->len - index) * size);
    std::memcpy(at, data, count * size);
    grown->len += count;
    return grown;
}

}  // namespace

extern "C" {

pz_array_t *pz_array_new(unsigned long elt_size, unsigned long reserve) {
    return elt_size == 0 ? nullptr : alloc_array(elt_size, reserve);
}

size_t pz_array_footprint(unsigned long elt_size, unsigned long capacity) {
    return footprint(elt_size, capacity);
}

pz_array_t *pz_array_init_in(void *block, unsigned long elt_size, unsigned long capacity) {
    return init_in(block, elt_size, capacity, true);
}

pz_array_t *pz_array_append_vals(pz_array_t *array, const void *data, size_t count) {
    return insert(array, SIZE_MAX, data, count);
}

pz_array_t *pz_array_prepend_vals(pz_array_t *array, const void *data, size_t count) {
    return insert(array, 0, data, count);
}

pz_array_t *pz_array_insert_vals(pz_array_t *array, unsigned long index, const void *data,
                                 size_t count) {
    return insert(array, index, data, count);
}

pz_array_t *pz_array_remove_index(pz_array_t *array, unsigned long index) {
    if (array == nullptr || index >= array->len) return array;
    const size_t size = array->elt_size;
    char *at = array->data + index * size;
    std::memmove(at, at + size, (array->len - index - 1) * size);
    --array->len;
    return array;
}

pz_array_t *pz_array_set_size(pz_array_t *array, size_t len) {
    if (array == nullptr) return nullptr;
    if (len > array->len) {
        pz_array_t *grown = make_room(array, len);
        if (grown == nullptr) return array;
        array = grown;
        std::memset(array->data + array->len * array->elt_size, 0,
                    (len - array->len) * array->elt_size);
    }
    array->len = len;
    return array;
}

pz_array_t *pz_array_reserve(pz_array_t *array, size_t capacity) {
    if (array == nullptr) return nullptr;
    pz_array_t *grown = make_room(array, capacity);
    return grown != nullptr ? grown : array;
}

void pz_array_free(pz_array_t *array) {
    if (array != nullptr && !array->borrowed) HAL_Free(array);
}

}  // extern "C"
