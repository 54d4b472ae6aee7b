// Numbers with a fraction or an exponent read to the nearest double, the
// short ones computed from their digits and the rest by the general path:
// both must agree with the C library's strtod on every text.
#include <cstdlib>
#include <random>

#include "pz_test.h"

namespace {

using JsonNumbers = LeakCheckedTest;

double read_double(const std::string &text) {
    pz_variant_t *v = pz_variant_from_json(text.c_str(), nullptr);
    EXPECT_NE(v, nullptr) << text;
    double d = 0;
    EXPECT_EQ(pz_variant_get_double(v, &d), PZ_GET_OK) << text;
    pz_variant_unref(v);
    return d;
}

void expect_nearest(const std::string &text) {
    const double got = read_double(text);
    const double want = std::strtod(text.c_str(), nullptr);
    EXPECT_EQ(std::memcmp(&got, &want, sizeof got), 0) << text << ": " << got << " against " << want;
}

TEST_F(JsonNumbers, EveryTextReadsToTheNearestDouble) {
    for_each_case("json_number_cases.txt", [](const std::vector<std::string> &f) { expect_nearest(f.at(0)); });
    std::mt19937_64 rng(41);
    for (int i = 0; i < 20000; ++i) {
        std::string text = (rng() % 2 != 0 ? "-" : "") + std::to_string(rng() % 1000);
        text += "." + std::to_string(rng() >> (rng() % 64));
        if (rng() % 3 == 0) text += "e" + std::to_string(static_cast<int>(rng() % 61) - 30);
        expect_nearest(text);
    }
}

}  // namespace
