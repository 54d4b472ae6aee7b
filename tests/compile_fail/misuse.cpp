// Mistakes that must not compile. Built once per PZ_CASE: case 0 is the
// working form of each and must compile, so that a failure of the others
// comes from the mistake and not from the file.
#include <string>

#include "pzvariant/pz_variant.hpp"

int main() {
    pz::value cfg = pz::dict({{"server", pz::dict({})}, {"tls", false}, {"port", 8080}, {"name", "db"}});
#if PZ_CASE == 0
    cfg.child("server").set("port", 9443);
    if (cfg["tls"].value_or(false)) return 1;
    const int port = cfg["port"].as<int>();
    const std::string name = cfg["name"].as<std::string>();
    cfg = pz::value(port + static_cast<int>(name.size()));
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
