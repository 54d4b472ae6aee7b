/* A tour of pzvariant: make, share and release a value of each kind. */
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include <pzvariant/pz_variant.h>

static void say_destroyed(void *p) { printf("  owned pointer %p destroyed\n", p); }

static int shared_refs = 0;
static void *shared_ref(void *p) {
    printf("  shared object referenced (%d references)\n", ++shared_refs);
    return p;
}
static void shared_unref(void *p) {
    printf("  shared object %p released (%d references)\n", p, --shared_refs);
}

static bool print_entry(void *key, void *value, void *user) {
    const pz_string_t *k = (const pz_string_t *)key;
    const pz_variant_t *v = (const pz_variant_t *)value;
    (void)user;
    printf("  entry \"%s\": kind '%c'\n", k->cstr, v->vt);
    return true;
}

static const char *status_text(pz_get_status status) {
    switch (status) {
    case PZ_GET_OK: return "read";
    case PZ_GET_ABSENT: return "absent";
    case PZ_GET_WRONG_KIND: return "of another kind";
    case PZ_GET_OUT_OF_RANGE: return "out of range";
    }
    return "?";
}

int main(void) {
    printf("Scalars: one block each, the value inside the record\n");
    pz_variant_t *flag = pz_variant_bool_new(true);
    pz_variant_t *small = pz_variant_int8_new(-5);
    pz_variant_t *big = pz_variant_uint64_new(UINT64_MAX);
    pz_variant_t *ratio = pz_variant_double_new(0.25);
    pz_variant_t *raw = pz_variant_ptr_new(&flag);
    printf("  bool %d, int8 %d, uint64 %" PRIu64 ", double %g, ptr %p\n", flag->bool_val,
           small->int8_val, big->uint64_val, ratio->double_val, raw->ptr_val);

    printf("Sharing: references count the holders\n");
    pz_variant_t *again = pz_variant_ref(small);
    printf("  two holders of the same value: %s\n", again == small ? "yes" : "no");
    pz_variant_unref(again);
    pz_variant_int16_set(small, 300);
    printf("  set in place to int16 %d, same address\n", small->int16_val);

    printf("Strings and bytes: copies the value owns\n");
    pz_variant_t *text = pz_variant_str_new("hello, variant");
    const uint8_t raw_bytes[4] = {0xde, 0xad, 0xbe, 0xef};
    pz_variant_t *bytes = vstr_buf_new(raw_bytes, sizeof raw_bytes);
    printf("  string \"%s\" (%u bytes), byte buffer of %u bytes\n", text->str_val, text->len,
           bytes->len);

    printf("Owned and shared pointers: callbacks at the right moments\n");
    static int resource;
    pz_variant_t *owned = pz_variant_autoptr_new(&resource, say_destroyed);
    pz_variant_t *shared = pz_variant_sharedptr_new(&resource, shared_ref, shared_unref);

    printf("Containers: each element held by one reference of the container\n");
    pz_variant_t *list = pz_variant_array_new();
    pz_variant_array_append(list, text);
    pz_variant_array_append(list, big);
    pz_variant_array_append(list, owned);
    pz_variant_t *record = pz_variant_dict_new();
    pz_variant_dict_put(record, "flag", flag);
    pz_variant_dict_put(record, "list", list);
    pz_variant_dict_put(record, "shared", shared);
    pz_variant_dict_put(record, "bytes", bytes);
    printf("  array of %u, dictionary of %u, walked in insertion order:\n",
           pz_variant_array_size(list), pz_variant_dict_size(record));
    pz_variant_dict_foreach(record, print_entry, NULL);

    printf("Typed accessors: a nested record from plain values\n");
    pz_variant_t *station = pz_variant_dict_new();
    vdict_set_str(station, "name", "north-3");
    vdict_set_double(station, "altitude", 412.5);
    pz_variant_t *position = vdict_child(station, "position"); /* made and attached */
    vdict_set_float(position, "lat", 59.33f);
    vdict_set_float(position, "lon", 18.07f);
    pz_variant_unref(position); /* the station keeps its own reference */
    pz_variant_t *readings = pz_variant_array_new();
    pz_variant_dict_put(station, "readings", readings);
    pz_variant_unref(readings);
    for (uint32_t hour = 0; hour < 3; ++hour) {
        pz_variant_t *reading = varray_add_dict(readings); /* borrowed: filled in place */
        vdict_set_uint32(reading, "hour", hour * 6);
        vdict_set_int16(reading, "celsius", (int16_t)(4 - 3 * (int)hour));
        pz_variant_t *tags = varray_add_array(readings);
        varray_add_str(tags, hour == 0 ? "calibrated" : "routine");
        varray_add_bool(tags, hour == 2);
    }

    printf("  built: a station of %u fields, position {lat, lon}, and %u readings,\n"
           "  each a dictionary {hour, celsius} and an array [tag, alert]\n",
           pz_variant_dict_size(station), pz_variant_array_size(readings) / 2);
    printf("  read back with typed getters:\n");
    pz_variant_t *pos = vdict_child(station, "position"); /* found this time */
    printf("  %s at %.1f m, lat %.2f lon %.2f\n", vdict_str_default(station, "name", "?"),
           vdict_double_default(station, "altitude", 0), vdict_float_default(pos, "lat", 0),
           vdict_float_default(pos, "lon", 0));
    pz_variant_unref(pos);
    for (uint32_t i = 0; i + 1 < pz_variant_array_size(readings); i += 2) {
        pz_variant_t *reading = pz_variant_array_index(readings, i);
        pz_variant_t *tags = pz_variant_array_index(readings, i + 1);
        printf("  hour %2u: %d C, tag \"%s\", alert %s\n",
               vdict_uint32_default(reading, "hour", 0), vdict_int16_default(reading, "celsius", 0),
               varray_str(tags, 0), varray_bool(tags, 1) ? "yes" : "no");
        pz_variant_unref(reading);
        pz_variant_unref(tags);
    }
    printf("  a missing field gives the default: %d\n", vdict_int32_default(station, "wind", -1));
    vdict_set_int8(station, "trend", -1);
    printf("  no conversion between kinds: int8 -1 read as uint32 gives %u\n",
           vdict_uint32_default(station, "trend", 0));
    pz_variant_unref(station);

    printf("Packing by letters: \"ic\" is an int32 and a text\n");
    pz_variant_t *packed = pz_variant_pack("ic", (int32_t)7, "seven");
    int32_t number = 0;
    const char *name = NULL;
    int32_t letters = pz_variant_unpack(packed, "ic", &number, &name);
    printf("  unpacked %d letters: %d and \"%s\" (the element's own text)\n", (int)letters,
           (int)number, name);
    printf("  one letter more than elements unpacks nothing: %d\n",
           (int)pz_variant_unpack(packed, "ici", &number, &name, &number));
    pz_variant_unref(packed);

    printf("Merging: copies of one dictionary's entries into another\n");
    pz_variant_t *settings = pz_variant_dict_new();
    pz_variant_t *colour = pz_variant_str_new("blue");
    pz_variant_t *off = pz_variant_bool_new(false);
    pz_variant_dict_put(settings, "colour", colour);
    pz_variant_dict_put(settings, "flag", off);
    pz_variant_t *merged = pz_variant_concat(settings, record);
    pz_variant_t *list_copy = pz_variant_dict_get(settings, "list");
    pz_variant_t *flag_now = pz_variant_dict_get(settings, "flag");
    printf("  same dictionary back: %s, %u entries, flag replaced by %d, list copied: %s\n",
           merged == settings ? "yes" : "no", pz_variant_dict_size(settings),
           flag_now->bool_val, list_copy != list ? "yes" : "no");
    pz_variant_dict_foreach(settings, print_entry, NULL);
    pz_variant_t *merged_parts[] = {flag_now, list_copy, off, colour, settings};
    for (size_t i = 0; i < sizeof merged_parts / sizeof merged_parts[0]; ++i) {
        pz_variant_unref(merged_parts[i]);
    }

    printf("Merge patch: defaults, an override merged at every level\n");
    pz_variant_t *defaults = pz_variant_from_dump(
        "{\"dict\":{\"srv\":{\"dict\":{\"host\":{\"string\":\"db\"},\"port\":{\"int32\":1}}},"
        "\"debug\":{\"bool\":true}}}");
    pz_variant_t *patch =
        pz_variant_from_dump("{\"dict\":{\"srv\":{\"dict\":{\"port\":{\"int32\":2}}}}}");
    pz_variant_t *removed = pz_variant_bool_new(false);
    pz_variant_clear(removed); /* now of kind null: in a patch, it removes its key */
    pz_variant_dict_put(patch, "debug", removed);
    const bool patched = pz_variant_merge_patch(defaults, patch);
    char *merged_text = pz_variant_dump(defaults);
    printf("  %s: %s\n", patched ? "merged" : "refused", merged_text);
    printf("  (concat would have replaced srv whole, losing its host)\n");
    HAL_Free(merged_text);
    pz_variant_unref(removed);
    pz_variant_unref(patch);
    pz_variant_unref(defaults);

    printf("The typical road: pack \"ic\", dump, read back, unpack\n");
    pz_variant_t *pair = pz_variant_pack("ic", (int32_t)42, "answer");
    char *dumped = pz_variant_dump(pair);
    printf("  %s\n", dumped != NULL ? dumped : "(no dump)");
    pz_variant_t *again_pair = pz_variant_from_dump(dumped);
    int32_t answer = 0;
    const char *answer_text = NULL;
    const int32_t unpacked = pz_variant_unpack(again_pair, "ic", &answer, &answer_text);
    printf("  read back and unpacked %d letters: %d and \"%s\"\n", (int)unpacked, (int)answer,
           answer_text != NULL ? answer_text : "");
    HAL_Free(dumped); /* the text is ours, from the platform allocator */
    pz_variant_unref(again_pair);
    pz_variant_unref(pair);

    printf("A configuration from JSON: checked reads and paths\n");
    pz_read_error_t why;
    pz_variant_t *cfg = pz_variant_from_json(
        "{\"name\": 42, \"server\": {\"port\": 70000, \"tls\": {\"port\": 9443}},"
        " \"timeouts\": {\"read\": 30, \"connect\": 1.5}}",
        &why);
    if (cfg == NULL) printf("  refused at %zu: %s\n", why.offset, why.reason);
    /* Each field starts at its default, which a failed read leaves alone. */
    const char *cfg_name = "unnamed";
    uint32_t name_len = 0;
    uint16_t port = 80, tls_port = 443;
    double read_timeout = 5.0;
    int32_t connect_timeout = 5;
    pz_variant_t *timeouts = pz_variant_path_find(cfg, "/timeouts"); /* borrowed */
    const pz_get_status got[] = {
        vdict_get_str(cfg, "name", &cfg_name, &name_len),
        pz_variant_get_uint16(pz_variant_path_find(cfg, "/server/port"), &port),
        pz_variant_get_uint16(pz_variant_path_find(cfg, "/server/tls/port"), &tls_port),
        vdict_get_double(timeouts, "read", &read_timeout),
        vdict_get_int32(timeouts, "connect", &connect_timeout),
    };
    printf("  name: %s, \"%s\"\n", status_text(got[0]), cfg_name);
    printf("  /server/port: %s, %u\n", status_text(got[1]), (unsigned)port);
    printf("  /server/tls/port: %s, %u\n", status_text(got[2]), (unsigned)tls_port);
    printf("  read timeout: %s, %g s (the int64 30 as a double)\n", status_text(got[3]), read_timeout);
    printf("  connect timeout: %s, %d s (1.5 is no int32)\n", status_text(got[4]), (int)connect_timeout);
    pz_variant_t *level = pz_variant_int32_new(2);
    const pz_path_status stored = pz_variant_path_set(cfg, "/log/file/level", level);
    pz_variant_unref(level);
    char *cfg_text = pz_variant_to_json(cfg, 0);
    printf("  /log/file/level stored (%s): %s\n", stored == PZ_PATH_OK ? "made on the way" : "refused",
           cfg_text != NULL ? cfg_text : "");
    HAL_Free(cfg_text);
    pz_variant_unref(cfg);

    printf("A stream of messages: written one by one, read back as the bytes come\n");
    pz_stream_writer_t *writer = pz_stream_writer_new(PZ_STREAM_MSGPACK, 0);
    for (int32_t i = 1; i <= 3; ++i) {
        pz_variant_t *message = pz_variant_dict_new();
        vdict_set_int32(message, "seq", i);
        vdict_set_str(message, "body", i == 2 ? "hello" : "ping");
        pz_stream_write(writer, message);
        pz_variant_unref(message);
    }
    size_t stream_len = 0;
    uint8_t *stream = pz_stream_writer_take(writer, &stream_len);
    pz_stream_writer_free(writer);
    pz_stream_reader_t *reader = pz_stream_reader_new(PZ_STREAM_MSGPACK, 0);
    for (size_t at = 0; at < stream_len; at += 5) { /* five bytes at a time, as a slow pipe gives them */
        pz_stream_reader_feed(reader, stream + at, stream_len - at < 5 ? stream_len - at : 5);
        pz_variant_t *message;
        while (pz_stream_reader_next(reader, &message, NULL) == PZ_STREAM_VALUE) {
            char *line = pz_variant_to_json(message, 0);
            printf("  message whole after byte %zu: %s\n", at + 5 < stream_len ? at + 5 : stream_len, line);
            HAL_Free(line);
            pz_variant_unref(message);
        }
    }
    pz_stream_reader_free(reader);
    HAL_Free(stream);

    printf("Releasing: our references go, the containers still hold theirs\n");
    pz_variant_t *mine[] = {flag, small, big, ratio, raw, text, bytes, owned, shared, list};
    for (size_t i = 0; i < sizeof mine / sizeof mine[0]; ++i) pz_variant_unref(mine[i]);
    printf("  dropping the dictionary releases everything it holds:\n");
    pz_variant_unref(record);
    printf("Done.\n");
    return 0;
}
