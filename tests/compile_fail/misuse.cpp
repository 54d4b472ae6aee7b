// Mistakes that must not compile. Built once per PZ_CASE: case 0 is the
// working form of each and must compile, so that a failure of the others
// comes from the mistake and not from the file.
#include "pzvariant/pz_variant.hpp"

int main() {
    pz::value cfg = pz::dict({{"server", pz::dict({})}, {"tls", false}});
#if PZ_CASE == 0
    cfg.child("server").set("port", 9443);
    if (cfg["tls"].value_or(false)) return 1;
    for (const auto &[key, v] : cfg.entries()) (void)key, (void)v;
    cfg = pz::value(1);
#elif PZ_CASE == 1
    cfg["server"]["port"] = 9443;  // would assign to a temporary handle
#elif PZ_CASE == 2
    if (cfg["tls"]) return 1;  // would be true for a stored false
#elif PZ_CASE == 3
    for (const pz::value &e : cfg) (void)e;  // would say nothing of what it walks
#endif
    return 0;
}
