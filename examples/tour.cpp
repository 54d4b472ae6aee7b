// The C++ tour: the same values as the C tour, with no unref by hand.
#include <pz_variant.hpp>

#include <cinttypes>
#include <cstdio>

int main() {
    std::printf("C++: a nested record from initializer lists\n");
    pz::value record = pz::dict({
        {"name", "sensor-7"},
        {"id", uint64_t{18446744073709551615ull}},
        {"readings", pz::array({int16_t{21}, int16_t{-3}, 22.5})},
        {"calibrated", true},
    });

    std::printf("  entries in insertion order:\n");
    for (const auto &[key, element] : record.entries()) {
        std::printf("    %.*s: kind '%c'\n", static_cast<int>(key.size()), key.data(),
                    static_cast<char>(element.kind()));
    }

    std::printf("  exact-kind reads:\n");
    pz::value readings = record["readings"];
    std::printf("    readings[0] as int16: %d\n", readings[0].value_or<int16_t>(0));
    std::printf("    readings[0] as int32: %s (no silent widening)\n",
                readings[0].get<int32_t>() ? "present" : "empty");
    std::printf("    id: %" PRIu64 "\n", record["id"].value_or<uint64_t>(0));

    pz::value copy = record;  // one more reference to the same record
    record.set("calibrated", false);
    std::printf("  a copy of the handle sees the change: calibrated=%d\n",
                copy["calibrated"].value_or(true));
    std::printf("  equal to a record built the same way: %s\n",
                record == pz::dict({{"name", "sensor-7"}}) ? "yes" : "no");
    const std::string text = record.dump();
    std::printf("  dumped: %s\n", text.c_str());
    pz::value reloaded = pz::from_dump(text);
    std::printf("  reloaded and equal to the record: %s\n", reloaded == record ? "yes" : "no");
    std::printf("  as plain JSON: %s\n", record.to_json().c_str());
    try {
        pz::from_json(R"({"port": 8080,})");
    } catch (const pz::parse_error &e) {
        std::printf("  a hand-written config refused at byte %zu: %s\n", e.offset(), e.what());
    }
    std::printf("Done: every reference goes when its handle does.\n");
    return 0;
}
