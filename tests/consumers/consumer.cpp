// Built against an installed pzvariant found through find_package.
#include <pzvariant/pz_variant.hpp>

#include <cstdio>

int main() {
    pz::value rec = pz::dict({{"name", "sensor"}, {"values", pz::array({1, 2, 3})}});
    const bool ok = rec["values"].size() == 3 && rec["name"].get<std::string_view>() == "sensor";
    std::printf("C++ consumer: %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
