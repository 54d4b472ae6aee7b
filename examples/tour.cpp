// The C++ tour: the same values as the C tour, with no unref by hand.
#include <pzvariant/pz_variant.hpp>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// A program's own type, converted both ways by PZ_FIELDS.
namespace app {
struct reading {
    std::string sensor;
    double celsius = 0;
    std::optional<std::string> note;
};
PZ_FIELDS(reading, sensor, celsius, note)
}  // namespace app

namespace {

// Standard iteration, the standard algorithms, a user's struct both ways,
// and files.
void idioms() {
    std::printf("C++: idioms of the standard library\n");
    const pz::value readings = pz::from_json(
        R"([{"sensor":"roof","celsius":21},{"sensor":"cellar","celsius":12.5,"note":"damp"},{"sensor":"attic","celsius":27}])");
    const pz::view all = readings;  // walks touch no reference count
    const auto damp = std::find_if(all.begin(), all.end(), [](pz::view r) { return r["note"] == "damp"; });
    std::printf("  the damp one: %s\n", (*damp)["sensor"].value_or("?").c_str());
    const auto warm = std::count_if(all.begin(), all.end(), [](pz::view r) { return r["celsius"].value_or(0.0) > 20; });
    std::printf("  readings over 20 degrees: %ld (a JSON 21 reads as 21.0)\n", static_cast<long>(warm));
    for (auto [key, v] : *damp) std::printf("    %.*s: %s\n", static_cast<int>(key.size()), key.data(), pz::value(v).to_json().c_str());

    std::vector<app::reading> typed = readings.as<std::vector<app::reading>>();
    typed.push_back({"garden", 9.5, "frost tonight"});
    const pz::value back = typed;
    std::printf("  as structs and back: %zu readings, the last %s\n", typed.size(), back[3].to_json().c_str());
    try {
        pz::from_json(R"([{"sensor":"roof","celsius":"warm"}])").as<std::vector<app::reading>>();
    } catch (const pz::conversion_error &e) {
        std::printf("  refused: %s\n", e.what());
    }

    const std::string path = (std::filesystem::temp_directory_path() / "pz_tour_readings.msgpack").string();
    pz::write_file(path, back, pz::file_format::msgpack);
    std::printf("  written to a MessagePack file and read back equal: %s\n",
                pz::read_file(path, pz::file_format::msgpack) == back ? "yes" : "no");
    std::filesystem::remove(path);
    try {
        pz::read_file("/no/such/file.json");
    } catch (const std::system_error &e) {
        std::printf("  a missing file: %s\n", e.code().message().c_str());
    }
}

}  // namespace

int main() {
    std::printf("C++: a nested record from initializer lists\n");
    pz::value record = pz::dict({
        {"name", "sensor-7"},
        {"id", uint64_t{18446744073709551615ull}},
        {"readings", {int16_t{21}, int16_t{-3}, 22.5}},  // a braced list is an array
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

    // A view borrows: no reference is taken as it walks (record keeps the values).
    int64_t whole = 0;
    for (pz::view r : pz::view(record)["readings"].elements()) whole += r.get_as<int64_t>().value_or(0);
    std::printf("  integer readings summed through views: %lld\n", static_cast<long long>(whole));

    pz::value copy = record;  // one more reference to the same record
    record.set("calibrated", false);
    std::printf("  a copy of the handle sees the change: calibrated=%d\n",
                copy["calibrated"].value_or(true));
    std::printf("  equal to a record with only its name: %s\n",
                record == pz::dict({{"name", "sensor-7"}}) ? "yes" : "no");
    std::printf("  nested writes go through child(), which makes the dictionary when absent:\n");
    record.child("site").set("name", "roof").child("position").set("lat", 59.33);
    std::printf("    site.position.lat = %.2f\n", record["site"]["position"]["lat"].value_or(0.0));
    try {
        record["missing"].set("k", 1);  // an empty handle: the write would go nowhere
    } catch (const pz::error &e) {
        std::printf("    %s\n", e.what());
    }

    std::printf("  an override merged at every level (merge_patch; a null removes its key):\n");
    record.merge_patch(pz::dict({{"site", pz::dict({{"name", "mast"}})}, {"calibrated", pz::value::null()}}));
    std::printf("    site.name = %s, site.position kept: %s, calibrated removed: %s\n",
                record["site"]["name"].value_or("?").c_str(),
                record["site"].contains("position") ? "yes" : "no",
                record.contains("calibrated") ? "no" : "yes");
    std::printf("  converting read: readings[0] (an int16) as uint8: %d\n",
                readings[0].get_as<uint8_t>().value_or(0));

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
    pz::value cfg = pz::from_json(R"({"server": {"tls": {"port": 9443}}})");
    cfg.set_path("/log/file/level", 2);  // the dictionaries on the way are made
    std::printf("  by JSON Pointer: /server/tls/port = %d, /log/file/level = %d\n",
                cfg.at_path("/server/tls/port").get_as<uint16_t>().value_or(443),
                cfg.at_path("/log/file/level").get_as<int>().value_or(0));
    try {
        cfg.at(pz::pointer("/server/ssl/port"));
    } catch (const pz::path_error &e) {
        std::printf("  %s\n", e.what());
    }
    std::printf("  NDJSON, one record a line, a bad line reported and passed:\n");
    pz::stream_writer log(PZ_STREAM_NDJSON);
    log.write(pz::dict({{"level", 3}, {"msg", "disk full"}})).write(pz::dict({{"level", 1}, {"msg", "ok"}}));
    pz::value_stream records(log.take() + "{\"level\": \n", PZ_STREAM_NDJSON);
    for (bool more = true; more;) {
        try {
            for (pz::value r : records) std::printf("    level %d: %s\n", r["level"].get_as<int>().value_or(0),
                                                    r["msg"].value_or("").c_str());
            more = false;
        } catch (const pz::parse_error &e) {
            std::printf("    line %zu refused: %s\n", e.line(), e.what());
        }
    }
    idioms();
    std::printf("Done: every reference goes when its handle does.\n");
    return 0;
}
