// Scheme files and client state files: what is written reads back the same,
// and a file cut short, altered or naming a path outside the side is
// refused.
#include <gtest/gtest.h>

#include "host/archive/SchemeFile.h"
#include "host/archive/Sha256.h"
#include "host/text/Utf8.h"

using host::fas::ParseSchemeFile;
using host::fas::SchemeFile;
using host::fas::SchemeKind;
using host::fas::SchemeRow;

namespace {

const std::string kHash(64, 'a');

SchemeFile Sample(SchemeKind kind) {
    SchemeFile file{kind, 42, {}};
    file.rows.push_back(SchemeRow{L"a.txt", 5, 1700000000123456789, 0644, kHash, false});
    // Blanks, a backslash, a line feed and a byte that is no UTF-8 (kept
    // through the lossless file name mapping) survive the round trip.
    file.rows.push_back(SchemeRow{L"sub dir/b\\c\nd\xDCFF.bin", 0, 0, 0, std::string(64, '0'), kind == SchemeKind::ClientState});
    return file;
}

// The manifest's text with its trailer made right again for `body`.
std::string Sealed(const std::string& body, size_t rows) {
    return body + "end " + std::to_string(rows) + " " + host::fas::Sha256Hex(body) + "\n";
}

} // namespace

TEST(SchemeFileTest, RoundTrip) {
    for (SchemeKind kind : {SchemeKind::Manifest, SchemeKind::ClientState}) {
        const SchemeFile file = Sample(kind);
        SchemeFile back;
        std::wstring why;
        ASSERT_TRUE(ParseSchemeFile(FormatSchemeFile(file), kind, back, why)) << host::ToUtf8(why);
        EXPECT_EQ(back.serial, 42u);
        ASSERT_EQ(back.rows.size(), 2u);
        for (size_t i = 0; i < 2; ++i) {
            EXPECT_EQ(back.rows[i].path, file.rows[i].path);
            EXPECT_EQ(std::tie(back.rows[i].size, back.rows[i].modified, back.rows[i].mode, back.rows[i].sha256,
                               back.rows[i].installed),
                      std::tie(file.rows[i].size, file.rows[i].modified, file.rows[i].mode, file.rows[i].sha256,
                               file.rows[i].installed));
        }
    }
}

TEST(SchemeFileTest, Refusals) {
    const std::string good = FormatSchemeFile(Sample(SchemeKind::Manifest));
    const std::string head = "FAS-SCHEME 1\nserial 3\n";
    const std::string row = "F 5 0 644 " + kHash + " ";
    struct Case {
        const char* what;
        std::string text;
        const char* reason;
    } cases[] = {
        {"cut after the rows", good.substr(0, good.find("end ")), "no closing line"},
        {"cut inside a row", good.substr(0, good.size() / 2), "no closing line"},
        {"cut inside the trailer", good.substr(0, good.size() - 3), "no closing line"},
        {"a row altered", [&] {
             std::string bad = good;
             bad[bad.find("F 5 ") + 2] = '6';
             return bad;
         }(), "digest"},
        {"a row dropped, trailer kept", [&] {
             std::string bad = good;
             const size_t at = bad.find("F 5 ");
             return bad.erase(at, bad.find('\n', at) + 1 - at);
         }(), "row count"},
        {"text after the trailer", good + "F", "after the closing line"},
        {"a state file", FormatSchemeFile(Sample(SchemeKind::ClientState)), "unknown header"},
        {"parent part", Sealed(head + row + "a/../../etc/passwd\n", 1), "not a relative name"},
        {"absolute", Sealed(head + row + "/etc/passwd\n", 1), "not a relative name"},
        {"empty part", Sealed(head + row + "a//b\n", 1), "not a relative name"},
        {"dot part", Sealed(head + row + "./b\n", 1), "not a relative name"},
        {"escaped NUL", Sealed(head + row + "a\\x00b\n", 1), "not a relative name"},
        {"twice", Sealed(head + row + "a\n" + row + "a\n", 2), "comes twice"},
        {"short hash", Sealed(head + "F 5 0 644 abc a\n", 1), "bad SHA-256"},
        {"negative size", Sealed(head + "F -5 0 644 " + kHash + " a\n", 1), "bad size"},
        {"installed row in a manifest", Sealed(head + "I 5 0 644 " + kHash + " a\n", 1), "unknown row"},
        {"no serial", Sealed("FAS-SCHEME 1\n" + row + "a\n", 1), "no serial"},
    };
    for (const Case& c : cases) {
        SchemeFile out;
        std::wstring why;
        EXPECT_FALSE(ParseSchemeFile(c.text, SchemeKind::Manifest, out, why)) << c.what;
        EXPECT_NE(host::ToUtf8(why).find(c.reason), std::string::npos) << c.what << ": " << host::ToUtf8(why);
    }
}
