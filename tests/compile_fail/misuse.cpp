// Mistakes that must not compile. Built once per PZ_CASE, as C++17: case 0
// is the working form of each, and the everyday idioms beside them, and
// must compile, so that a failure of the others comes from the mistake and
// not from the file.
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "pzvariant/pz_variant.hpp"

namespace app {
struct point {
    double lat, lon;
    std::optional<std::string> name;
};
PZ_FIELDS(point, lat, lon, name)
}  // namespace app

int main() {
    pz::value cfg = pz::dict({{"server", pz::dict({})}, {"tls", false}, {"port", 8080}, {"name", "db"}});
#if PZ_CASE == 0
    cfg.child("server").set("port", 9443);
    if (cfg["tls"].value_or(false)) return 1;
    const int port = cfg["port"].as<int>();
    const std::string name = cfg["name"].as<std::string>();
    for (auto &[key, v] : cfg.entries()) (void)key, (void)v;
    for (auto [key, v] : cfg) (void)key, (void)v;
    pz::value list = {1, 2.5, "three", nullptr};
    for (auto &e : list.elements()) (void)e;
    for (auto e : list) (void)e.kind();
    cfg.set("list", std::vector<int>{1, 2}).set("map", std::map<std::string, double>{{"x", 1}});
    cfg.set("where", app::point{59.3, 18.1, std::nullopt});
    const app::point where = cfg["where"].as<app::point>();
    if (cfg["name"] == "db" && cfg["port"] == 8080 && cfg.at("port") != nullptr) cfg.erase("tls");
    pz::value none = nullptr;
    cfg = pz::value(port + static_cast<int>(name.size()) + static_cast<int>(where.lat) + none.empty());
#elif PZ_CASE == 1
    cfg["server"]["port"] = 9443;  // would assign to a temporary handle
#elif PZ_CASE == 2
    if (cfg["tls"]) return 1;  // would be true for a stored false
#elif PZ_CASE == 3
    const int port = cfg["port"];  // would guess what to do with a text or a null
#elif PZ_CASE == 4
    const std::string name = cfg["name"];  // as for numbers: read with as<std::string>()
#endif
    return 0;
}
