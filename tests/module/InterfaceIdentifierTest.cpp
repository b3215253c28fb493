// Interface identifiers derived from names, and the module's identifier
// globals.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "sdk/Framework.h"

namespace {

using Bytes = std::array<uint8_t, 16>;

Bytes BytesOf(const IID& iid) {
    Bytes b;
    std::memcpy(b.data(), &iid, 16);
    return b;
}

std::string Hex(const Bytes& b) {
    std::string s;
    char part[4];
    for (uint8_t v : b) {
        std::snprintf(part, sizeof part, "%02X ", v);
        s += part;
    }
    return s;
}

struct NamedBytes {
    const char* name;
    Bytes bytes;
};

TEST(InterfaceIdentifier, PacksNamesIntoTheKnownBytes) {
    const NamedBytes cases[] = {
        {"IStep", {0x69, 0xD2, 0x02, 0x01}},
        {"IParameters", {0x09, 0x06, 0x19, 0x5A, 0xA1, 0x45, 0x4E}},
        {"IObjectInfo", {0xE9, 0x09, 0x55, 0x06, 0x4D, 0xCE, 0x3C}},
        {"ICurve2D", {0x69, 0x54, 0x69, 0x8B, 0x27}},
        {"ICreatableSimpleCollection",
         {0x69, 0xC8, 0x12, 0x68, 0x10, 0xAC, 0xCC, 0xD4, 0x20, 0x2B, 0xE3, 0x31, 0x56, 0x06, 0x4D, 0x0F}},
        // "4" maps to 32: its sixth bit lands on the next character's first.
        {"A4B", {0x01, 0x0C}},
        {"4", {0x20}},
        {"44", {0x20, 0x04}},
        {"IUnknown", {0xA9, 0xBA, 0xE5, 0xDE, 0x75}},
        {"", {}},
    };
    for (const NamedBytes& c : cases)
        EXPECT_EQ(Hex(BytesOf(__IIDOfc(c.name))), Hex(c.bytes)) << '"' << c.name << '"';
}

TEST(InterfaceIdentifier, NamesThatShareAnIdentifier) {
    const std::vector<std::pair<std::string, std::string>> same = {
        {"IStep", "istep"},
        {"IStep", "ISTEP"},
        {"IStep", "iStEp"},
        // Every character outside letters and "0" to "4" has code 27.
        {"I_Event", "I9Event"},
        {"I5", "I."},
        {"IA\x80", "IA\xFF"},
        // Only the first 25 characters count.
        {"ABCDEFGHIJKLMNOPQRSTUVWXY", "ABCDEFGHIJKLMNOPQRSTUVWXYZZZZ"},
        {"ICreatableSimpleCollection", "ICreatableSimpleCollectio"},
        {std::string(300, 'z'), std::string(25, 'z')},
    };
    for (const auto& [a, b] : same)
        EXPECT_EQ(Hex(BytesOf(__IIDOfc(a.c_str()))), Hex(BytesOf(__IIDOfc(b.c_str())))) << a << " / " << b;

    const std::vector<std::pair<std::string, std::string>> different = {
        {"IStep", "IStep2"},
        {"I0", "I1"},
        {"I4", "I5"},
        {"ABCDEFGHIJKLMNOPQRSTUVWX", "ABCDEFGHIJKLMNOPQRSTUVWXY"},
        {"IParameters", "IParametersCreatable"},
    };
    for (const auto& [a, b] : different)
        EXPECT_NE(Hex(BytesOf(__IIDOfc(a.c_str()))), Hex(BytesOf(__IIDOfc(b.c_str())))) << a << " / " << b;
}

TEST(InterfaceIdentifier, EqualityComparesAllSixteenBytes) {
    for (int byte = 0; byte < 16; ++byte) {
        IID a = __IIDOfc("IStep");
        IID b = a;
        EXPECT_TRUE(__IIDEqual(&a, &b));
        reinterpret_cast<uint8_t*>(&b)[byte] ^= 0x80;
        EXPECT_FALSE(__IIDEqual(&a, &b)) << "byte " << byte;
        EXPECT_TRUE(a != b);
    }
}

struct Global {
    const char* name;
    const IID* iid;
};

std::vector<Global> NameDerivedGlobals() {
    return {
#define SHADOW_IID(name) {#name, &IID_##name},
#include "sdk/InterfaceNames.inc"
#undef SHADOW_IID
    };
}

// The derived globals hold their names' identifiers once loaded; with the
// two fixed ones, all 232 identifiers differ.
TEST(InterfaceIdentifier, TheModuleKnows232DistinctIdentifiers) {
    std::vector<Global> all = NameDerivedGlobals();
    for (const Global& g : all) EXPECT_EQ(Hex(BytesOf(*g.iid)), Hex(BytesOf(__IIDOfc(g.name)))) << g.name;
    EXPECT_EQ(Hex(BytesOf(IID_NULL)), Hex(Bytes{}));
    EXPECT_EQ(Hex(BytesOf(IID_IUnknown)), Hex(Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46}));
    all.push_back({"NULL", &IID_NULL});
    all.push_back({"IUnknown", &IID_IUnknown});
    EXPECT_EQ(all.size(), 232u);

    std::map<Bytes, std::string> byValue;
    std::string collisions;
    for (const Global& g : all) {
        auto [it, fresh] = byValue.emplace(BytesOf(*g.iid), g.name);
        if (!fresh) collisions += it->second + " = " + g.name + "; ";
    }
    EXPECT_EQ(collisions, "") << "names whose identifiers collide";
}

} // namespace
