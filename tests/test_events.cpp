// The event readers: the same values as the value readers (a value rebuilt
// from the events of every case equals the one read), the same refusals, a
// callback that stops the read, and the C++ visitor.
#include "pz_test.h"
#include "pzvariant/pz_variant.hpp"

namespace {

using Events = LeakCheckedTest;

// A value rebuilt from the events through the public API, as a program
// would build structures of its own. MessagePack's nil in an array is an
// empty slot, as its value reader makes it. The events are counted, and the
// read stopped at the `stop_at`-th (0: never).
struct rebuilt {
    struct open_container {
        pz_variant_t *c;
        size_t announced;    // the count its begin event gave
        std::string key;     // a dictionary's next member's
    };
    bool nil_slots = false;
    int events = 0, stop_at = 0;
    std::vector<open_container> open;
    pz_variant_t *root = nullptr;

    ~rebuilt() {
        for (const open_container &o : open) pz_variant_unref(o.c);
        pz_variant_unref(root);
    }
    int step() { return ++events == stop_at ? 1 : 0; }
    void put(pz_variant_t *v) {
        if (open.empty()) return pz_variant_unref(root), void(root = v);
        open.back().c->vt == vtype_array ? pz_variant_array_append(open.back().c, v)
                                         : pz_variant_dict_put(open.back().c, open.back().key.c_str(), v);
        pz_variant_unref(v);
    }
    static rebuilt &of(void *c) { return *static_cast<rebuilt *>(c); }
    static int begin(void *c, size_t count, pz_variant_t *container) {
        return of(c).open.push_back({container, count, {}}), of(c).step();
    }
    static int end(void *c) {
        rebuilt &r = of(c);
        const open_container done = r.open.back();
        const size_t count = pz_variant_array_size(done.c) + pz_variant_dict_size(done.c);
        EXPECT_TRUE(done.announced == PZ_EVENTS_COUNT_UNKNOWN || done.announced >= count);
        r.open.pop_back();
        return r.put(done.c), r.step();
    }
    static constexpr pz_events_t kCallbacks = {
        [](void *c, size_t n) { return begin(c, n, pz_variant_array_new()); },
        end,
        [](void *c, size_t n) { return begin(c, n, pz_variant_dict_new()); },
        end,
        [](void *c, const char *name, size_t len) { return of(c).open.back().key.assign(name, len), of(c).step(); },
        [](void *c, const pz_variant_t *value) {
            rebuilt &r = of(c);
            const bool slot = r.nil_slots && value->vt == vtype_null && !r.open.empty() && r.open.back().c->vt == vtype_array;
            r.put(slot ? nullptr : pz_variant_dup(const_cast<pz_variant_t *>(value)));
            return r.step();
        },
        [](void *c, const char *text, size_t len) {
            return of(c).put(vstr_sized_new(text, static_cast<uint32_t>(len))), of(c).step();
        },
        [](void *c, const uint8_t *data, size_t len) {
            return of(c).put(vstr_buf_new(data, static_cast<uint32_t>(len))), of(c).step();
        },
        nullptr,
    };
};

// Reads `input` both ways: the events end as the value reader ends (a
// value rebuilt from them equal to the one read, or the same refusal),
// except that keys a dictionary cannot hold go on to the callbacks.
void expect_events_agree(const std::string &input, bool msgpack) {
    pz_read_error_t by_value, by_events;
    size_t used = 0;
    rebuilt r;
    r.nil_slots = msgpack;
    pz_variant_t *v = msgpack ? pz_variant_from_msgpack(input.data(), input.size(), &by_value)
                              : pz_variant_from_json_n(input.data(), input.size(), &by_value);
    const pz_events_end end = msgpack ? pz_events_read_msgpack(input.data(), input.size(), 0, &rebuilt::kCallbacks, &r, &used, &by_events)
                                      : pz_events_read_json(input.data(), input.size(), 0, &rebuilt::kCallbacks, &r, &used, &by_events);
    if (v != nullptr) {
        EXPECT_EQ(end, PZ_EVENTS_READ) << by_events.reason;
        EXPECT_EQ(used, input.size());
        EXPECT_TRUE(pz_variant_equal(v, r.root)) << dumped(v) << " rebuilt as " << dumped(r.root);
    } else if (by_value.code == PZ_READ_INVALID_KEY && std::string(by_value.reason) != "a key that is not a string") {
        EXPECT_NE(end, PZ_EVENTS_STOPPED);
    } else {
        EXPECT_EQ(end, PZ_EVENTS_REFUSED);
        EXPECT_EQ(std::to_string(by_events.offset) + " " + by_events.reason,
                  std::to_string(by_value.offset) + " " + by_value.reason);
        EXPECT_EQ(by_events.code, by_value.code);
        EXPECT_EQ(by_events.line, by_value.line);
    }
    pz_variant_unref(v);
}

TEST_F(Events, JsonEventsMakeTheSameValuesAndRefuseAlike) {
    int cases = 0;
    for (const char *folder : {"accept", "refuse", "implementation-defined"}) {
        for (const auto &path : json_cases(folder)) {
            SCOPED_TRACE(path.filename().string());
            expect_events_agree(slurp(path), false);
            ++cases;
        }
    }
    EXPECT_GT(cases, 150);
}

TEST_F(Events, MessagePackEventsMakeTheSameValuesAndRefuseAlike) {
    for (const char *file : {"msgpack_read_cases.txt", "msgpack_write_cases.txt"}) {
        for_each_case(file, [file](const std::vector<std::string> &f) {
            const std::vector<uint8_t> bytes = bytes_of(f.at(std::string(file) == "msgpack_read_cases.txt" ? 0 : 1));
            expect_events_agree(std::string(bytes.begin(), bytes.end()), true);
        });
    }
}

// Stopping at each event in turn: no event after it, no fault, and `used`
// just past the token stopped at, up to the whole input.
TEST_F(Events, ACallbackStopsTheReadAtItsEvent) {
    const std::string json = R"( {"a":[1,"x",{"b":null}],"c":[]} )";
    const std::vector<uint8_t> packed = bytes_of("82a16193c4020102c005a163f6");  // {"a":[bin, nil, 5], "c":-10}
    for (const bool msgpack : {false, true}) {
        SCOPED_TRACE(msgpack ? "MessagePack" : "JSON");
        auto read = [&](rebuilt &c, size_t *used, pz_read_error_t *error) {
            return msgpack ? pz_events_read_msgpack(packed.data(), packed.size(), 0, &rebuilt::kCallbacks, &c, used, error)
                           : pz_events_read_json(json.data(), json.size(), 0, &rebuilt::kCallbacks, &c, used, error);
        };
        rebuilt all;
        size_t used = 0;
        pz_read_error_t error;
        ASSERT_EQ(read(all, &used, &error), PZ_EVENTS_READ);
        size_t before = 0;
        for (int n = 1; n <= all.events; ++n) {
            rebuilt c;
            c.stop_at = n;
            EXPECT_EQ(read(c, &used, &error), PZ_EVENTS_STOPPED);
            EXPECT_EQ(c.events, n);
            EXPECT_EQ(error.code, PZ_READ_OK);
            // A MessagePack container ends with its last element, no byte of its own.
            EXPECT_TRUE(used > before || (msgpack && used == before)) << n;
            before = used;
        }
        EXPECT_EQ(before, msgpack ? packed.size() : json.size() - 1) << "the last event ends the value";
    }
    rebuilt c;
    c.stop_at = 1;
    size_t used = 0;
    EXPECT_EQ(pz_events_read_json(json.data(), json.size(), 0, &rebuilt::kCallbacks, &c, &used, nullptr), PZ_EVENTS_STOPPED);
    EXPECT_EQ(used, 2u) << "past the first '{'";
}

TEST_F(Events, FromTheFrontAndWithoutCallbacks) {
    const std::string ndjson = "{\"n\":1}\n[true]\n";
    rebuilt c;
    size_t used = 0;
    pz_read_error_t error;
    EXPECT_EQ(pz_events_read_json(ndjson.data(), ndjson.size(), PZ_EVENTS_PREFIX, &rebuilt::kCallbacks, &c, &used, &error),
              PZ_EVENTS_READ);
    EXPECT_EQ(used, 8u);
    EXPECT_EQ(c.events, 4);
    EXPECT_EQ(pz_events_read_json(ndjson.data(), ndjson.size(), 0, &rebuilt::kCallbacks, &c, &used, &error), PZ_EVENTS_REFUSED);
    EXPECT_EQ(error.code, PZ_READ_TEXT_AFTER_VALUE);
    const uint8_t two[] = {0x01, 0x02};
    EXPECT_EQ(pz_events_read_msgpack(two, 2, PZ_EVENTS_PREFIX, &rebuilt::kCallbacks, &c, &used, &error), PZ_EVENTS_READ);
    EXPECT_EQ(used, 1u);
    // Numbers as written, unconverted, when asked for; malformed ones still refused.
    std::string numbers;
    pz_events_t as_text{};
    as_text.number = [](void *s, const char *text, size_t len) { return static_cast<std::string *>(s)->append(text, len).append(" "), 0; };
    const std::string json = "[1, -2.50e3,18446744073709551616 ,0]";
    EXPECT_EQ(pz_events_read_json(json.data(), json.size(), 0, &as_text, &numbers, &used, &error), PZ_EVENTS_READ);
    EXPECT_EQ(numbers, "1 -2.50e3 18446744073709551616 0 ");
    EXPECT_EQ(pz_events_read_json("[01]", 4, 0, &as_text, &numbers, &used, &error), PZ_EVENTS_REFUSED);
    EXPECT_EQ(error.code, PZ_READ_INVALID_NUMBER);
    // Callbacks left null pass their events over.
    const pz_events_t none{};
    EXPECT_EQ(pz_events_read_json("[1,{\"a\":\"b\"}]", 13, 0, &none, nullptr, &used, &error), PZ_EVENTS_READ);
    EXPECT_EQ(pz_events_read_json("[1]", 3, 0, nullptr, nullptr, &used, &error), PZ_EVENTS_REFUSED);
    EXPECT_EQ(error.code, PZ_READ_INVALID_ARGUMENT);
}

// The C++ visitor: members overridden or not, stopping, and what it throws.
struct tally : pz::events {
    explicit tally(bool numbers_as_text = false) : pz::events(numbers_as_text) {}
    std::string seen;
    int throw_at_key = 0;
    bool begin_dict(size_t) override { return seen += '{', true; }
    bool key(std::string_view name) override {
        if (--throw_at_key == 0) throw std::out_of_range("no such key");
        return seen.append(name), true;
    }
    bool scalar(pz::view v) override {
        const int n = v.get_as<int>().value_or(-1);
        return seen += std::to_string(n), n != 99;
    }
    bool string(std::string_view text) override { return seen.append("'").append(text), true; }
    bool number(std::string_view text) override { return seen.append("#").append(text), true; }
};

TEST_F(Events, TheCppVisitor) {
    tally t;
    const pz::events_read r = pz::read_json_events(R"({"a":1,"b":"x",  "c":[2]})", t);
    EXPECT_EQ(t.seen, "{a1b'xc2");
    EXPECT_FALSE(r.stopped);
    tally stops;
    EXPECT_TRUE(pz::read_json_events(R"({"a":1,"bcdef":99,"g":3})", stops).stopped);
    EXPECT_EQ(stops.seen, "{a1bcdef99");
    tally thrower;
    thrower.throw_at_key = 2;
    EXPECT_THROW(pz::read_json_events(R"({"a":1,"b":2})", thrower), std::out_of_range);
    EXPECT_EQ(thrower.seen, "{a1") << "no event after the one that threw";
    tally as_text(true);
    pz::read_json_events(R"({"a":1.50})", as_text);
    EXPECT_EQ(as_text.seen, "{a#1.50");
    const auto cut = caught<pz::parse_error>([&] { pz::read_msgpack_events("\x92\x01", 2, t); });
    EXPECT_TRUE(cut && cut->code() == PZ_READ_UNEXPECTED_END && cut->offset() == 2u);
    EXPECT_EQ(pz::read_msgpack_events("\x01\x02", 2, t, true).used, 1u);
}

}  // namespace
