// The three documents of the JSON engine's benchmarks, generated once as
// plain JSON text: every library reads and writes the same bytes.
//   geometry: about 100k coordinate pairs of 15 to 17 significant digits
//   catalog:  about 50k small objects with the same keys and integer ids,
//             and tables keyed by id (3,000 names that appear once)
//   feed:     2,500 posts of 30 to 40 members, many with long names, an
//             author of as many, every third quoting another; long texts
//             with non-ASCII characters and escapes (\n, \", \u00e9,
//             surrogate pairs)
#ifndef PZ_BENCH_JSON_DOCUMENTS_H
#define PZ_BENCH_JSON_DOCUMENTS_H

#include <charconv>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace pz_bench {

struct json_document {
    const char *name;
    std::string text;
};

namespace documents {

inline void real(std::string &out, double d) {
    char text[32];
    out.append(text, std::to_chars(text, text + sizeof text, d).ptr);
}

inline void integer(std::string &out, uint64_t i) { out += std::to_string(i); }

inline std::string geometry() {
    std::mt19937_64 rng(11);
    std::uniform_real_distribution<double> lon(-180.0, 180.0), lat(-90.0, 90.0);
    std::string out = R"({"type":"FeatureCollection","features":[)";
    for (int f = 0; f < 200; ++f) {
        if (f != 0) out += ',';
        out += R"({"type":"Feature","properties":{"name":"region )" + std::to_string(f) +
               R"(","admin_level":4},"geometry":{"type":"Polygon","coordinates":[[)";
        for (int p = 0; p < 500; ++p) {
            out += p != 0 ? ",[" : "[";
            real(out, lon(rng));
            out += ',';
            real(out, lat(rng));
            out += ']';
        }
        out += "]]}}";
    }
    return out + "]}";
}

// Ids as names: a catalog indexes some of its tables by id, so its text has
// thousands of keys that each appear once beside the few that every record
// repeats.
inline std::string catalog() {
    static const char *const kCategories[] = {"tools", "garden", "kitchen", "toys", "books"};
    std::mt19937_64 rng(12);
    std::string out = R"({"areaNames":{)";
    for (uint64_t i = 0; i < 1000; ++i) {
        out += i != 0 ? ",\"" : "\"";
        integer(out, 205705000 + i * 17);
        out += R"(":"Area )";
        integer(out, i);
        out += '"';
    }
    out += R"(},"events":{)";
    for (uint64_t i = 0; i < 2000; ++i) {
        const uint64_t id = 138586000 + i * 31;
        out += i != 0 ? ",\"" : "\"";
        integer(out, id);
        out += R"(":{"description":null,"id":)";
        integer(out, id);
        out += R"(,"logo":null,"name":"Event )";
        integer(out, i);
        out += R"(","subTopicIds":[)";
        integer(out, 337184 + rng() % 100);
        out += ',';
        integer(out, 337184 + rng() % 100);
        out += R"(],"subjectCode":null,"subtitle":null,"topicIds":[)";
        integer(out, 324846 + rng() % 20);
        out += "]}";
    }
    out += R"(},"products":[)";
    for (uint64_t i = 0; i < 50000; ++i) {
        if (i != 0) out += ',';
        out += R"({"id":)";
        integer(out, 100000 + i);
        out += R"(,"sku":"SKU-)" + std::to_string(rng() % 1000000) + R"(","price":)";
        integer(out, rng() % 100000);
        out += R"(,"stock":)";
        integer(out, rng() % 500);
        out += R"(,"category":")" + std::string(kCategories[rng() % 5]) + R"(","active":)";
        out += rng() % 2 != 0 ? "true" : "false";
        out += "}";
    }
    return out + "]}";
}

// A feed of posts as a social network's export has them: 30 to 40 members
// a record, many with long names, an author record of as many, links and
// mentions, and every third post quoting another with its own author.
class feed_writer {
public:
    std::string write(int posts) {
        out_ = "[";
        for (int i = 0; i < posts; ++i) {
            if (i != 0) out_ += ',';
            post(i, i % 3 == 2);
        }
        return out_ + "]";
    }

private:
    void key(const char *name) { out_ += std::string("\"") + name + "\":"; }
    void member(const char *name, const std::string &raw) {
        key(name);
        out_ += raw + ",";
    }
    void text_member(const char *name, const std::string &text) { member(name, "\"" + text + "\""); }
    void close(char c) {
        if (out_.back() == ',') out_.pop_back();
        out_ += c;
    }
    std::string flag() { return rng_() % 2 != 0 ? "true" : "false"; }
    std::string number(uint64_t bound) { return std::to_string(rng_() % bound); }

    std::string sentence(uint64_t least, uint64_t spread) {
        // Words as they stand in the text: some need escapes, some are not ASCII.
        static const char *const kWords[] = {
            "the", "weather", "today", "is", "caf\\u00e9", "na\xc3\xafve",
            "\xd0\xbf\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82",
            "\xce\xba\xce\xb1\xce\xbb\xce\xb7\xce\xbc\xce\xad\xcf\x81\xce\xb1", "\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e",
            "\\\"quoted\\\"", "line\\nbreak", "tab\\tstop", "\xf0\x9f\x98\x80", "\\ud83c\\udf89", "back\\\\slash",
            "and", "a", "long", "sentence", "about", "nothing"};
        std::string s;
        const uint64_t words = least + rng_() % spread;
        for (uint64_t w = 0; w < words; ++w) {
            if (w != 0) s += ' ';
            s += kWords[rng_() % (sizeof kWords / sizeof *kWords)];
        }
        return s;
    }

    void links(const char *name, int count) {
        key(name);
        out_ += '[';
        for (int i = 0; i < count; ++i) {
            out_ += '{';
            text_member("url", "https://t.example/" + number(1000000));
            text_member("expanded_url", "https://www.example.org/articles/" + number(1000000));
            text_member("display_url", "example.org/articles/" + number(1000));
            // Appended piece by piece: g++ 12 warns (-Wrestrict) wrongly
            // about "[" + std::string inlined here.
            std::string indices(1, '[');
            indices.append(number(70)).append(1, ',').append(number(140)).append(1, ']');
            member("indices", indices);
            close('}');
            out_ += ',';
        }
        close(']');
        out_ += ',';
    }

    void entities(bool author) {
        key("entities");
        out_ += '{';
        if (author) {
            key("url");
            out_ += '{';
            links("urls", 1);
            close('}');
            out_ += ',';
            key("description");
            out_ += '{';
            links("urls", 0);
            close('}');
        } else {
            member("hashtags", "[]");
            member("symbols", "[]");
            links("urls", static_cast<int>(rng_() % 2));
            key("user_mentions");
            out_ += "[{";
            text_member("screen_name", "reader" + number(10000));
            text_member("name", "A Reader");
            member("id", number(100000000));
            text_member("id_str", number(100000000));
            member("indices", "[3," + number(20) + "]");
            close('}');
            out_ += ']';
        }
        close('}');
        out_ += ',';
    }

    void author() {
        static const char *const kNames[] = {"Zo\xc3\xab", "\xc5\x81ukasz", "\xe5\xb1\xb1\xe7\x94\xb0", "Ana", "O'Brien"};
        static const char *const kColors[] = {"C0DEED", "1A1B1F", "FFFFFF", "0084B4", "DDEEF6"};
        const std::string id = number(1000000000);
        key("user");
        out_ += '{';
        member("id", id);
        text_member("id_str", id);
        text_member("name", kNames[rng_() % 5]);
        text_member("screen_name", "user_" + id.substr(0, 6));
        text_member("location", "");
        text_member("description", sentence(5, 15));
        member("url", "null");
        entities(true);
        member("protected", "false");
        member("followers_count", number(100000));
        member("friends_count", number(5000));
        member("listed_count", number(100));
        text_member("created_at", "Sun Aug 24 12:" + number(60) + ":07 +0000 2014");
        member("favourites_count", number(10000));
        member("utc_offset", "32400");
        text_member("time_zone", "Tokyo");
        member("geo_enabled", flag());
        member("verified", "false");
        member("statuses_count", number(100000));
        text_member("lang", "ja");
        member("contributors_enabled", "false");
        member("is_translator", "false");
        member("is_translation_enabled", "false");
        text_member("profile_background_color", kColors[rng_() % 5]);
        text_member("profile_background_image_url", "http://abs.example.com/images/themes/theme1/bg.png");
        text_member("profile_background_image_url_https", "https://abs.example.com/images/themes/theme1/bg.png");
        member("profile_background_tile", flag());
        text_member("profile_image_url", "http://pbs.example.com/profile_images/" + id + "/normal.jpeg");
        text_member("profile_image_url_https", "https://pbs.example.com/profile_images/" + id + "/normal.jpeg");
        text_member("profile_banner_url", "https://pbs.example.com/profile_banners/" + id + "/1409000000");
        text_member("profile_link_color", kColors[rng_() % 5]);
        text_member("profile_sidebar_border_color", kColors[rng_() % 5]);
        text_member("profile_sidebar_fill_color", kColors[rng_() % 5]);
        text_member("profile_text_color", "333333");
        member("profile_use_background_image", flag());
        member("default_profile", flag());
        member("default_profile_image", "false");
        member("following", "false");
        member("follow_request_sent", "false");
        member("notifications", "false");
        close('}');
        out_ += ',';
    }

    void post(int i, bool quotes) {
        out_ += '{';
        key("metadata");
        out_ += R"({"result_type":"recent","iso_language_code":"ja"},)";
        text_member("created_at", "Sun Aug 31 00:" + number(60) + ":15 +0000 2014");
        const std::string id = std::to_string(uint64_t{505874924095815681} + static_cast<uint64_t>(i) * 7919);
        member("id", id);
        text_member("id_str", id);
        text_member("text", sentence(20, 30));
        text_member("source", R"(<a href=\"http://example.com/app\" rel=\"nofollow\">Example for iPhone</a>)");
        member("truncated", "false");
        member("in_reply_to_status_id", "null");
        member("in_reply_to_status_id_str", "null");
        member("in_reply_to_user_id", "null");
        member("in_reply_to_user_id_str", "null");
        member("in_reply_to_screen_name", "null");
        author();
        member("geo", "null");
        member("coordinates", "null");
        member("place", "null");
        member("contributors", "null");
        if (quotes) {
            key("retweeted_status");
            post(i + 1000000, false);
            out_ += ',';
        }
        member("retweet_count", number(1000));
        member("favorite_count", number(1000));
        entities(false);
        member("favorited", "false");
        member("retweeted", "false");
        member("possibly_sensitive", "false");
        text_member("lang", "ja");
        close('}');
    }

    std::mt19937_64 rng_{13};
    std::string out_;
};

inline std::string feed() { return feed_writer().write(2500); }

}  // namespace documents

inline const std::vector<json_document> &json_documents() {
    static const std::vector<json_document> docs = {
        {"geometry", documents::geometry()}, {"catalog", documents::catalog()}, {"feed", documents::feed()}};
    return docs;
}

}  // namespace pz_bench

#endif  // PZ_BENCH_JSON_DOCUMENTS_H
