#include "host/transform/AutoHeader.h"

#include <array>

namespace host::transform {

namespace {

constexpr std::string_view kIntroduction = "#DataStreamEx 1";

// The tokens in the order they are written; each sets one part of the plan.
struct Token {
    std::string_view text;
    void (*apply)(LayerPlan&, bool&);
};

constexpr std::array<Token, 8> kTokens{{
    {"deflate", [](LayerPlan& p, bool&) { p.compress = DeflateFormat::Raw; }},
    {"zlib", [](LayerPlan& p, bool&) { p.compress = DeflateFormat::Zlib; }},
    {"encrypt", [](LayerPlan& p, bool&) { p.encrypt = true; }},
    {"sha256", [](LayerPlan& p, bool& keyed) { p.authenticate = true, keyed = false; }},
    {"hmac-sha256", [](LayerPlan& p, bool& keyed) { p.authenticate = true, keyed = true; }},
    {"hex", [](LayerPlan& p, bool&) { p.mime = MimeCoding::Hex; }},
    {"base64", [](LayerPlan& p, bool&) { p.mime = MimeCoding::Base64; }},
    {"base64-wide", [](LayerPlan& p, bool&) { p.mime = MimeCoding::Base64Wide; }},
}};

// The group of each token: tokens of one group exclude each other, and
// groups come in this order.
constexpr std::array<int, 8> kGroup{0, 0, 1, 2, 2, 3, 3, 3};

} // namespace

std::string WriteAutoHeader(const LayerPlan& plan, bool keyed) {
    std::string line(kIntroduction);
    if (plan.compress) line += plan.compress == DeflateFormat::Zlib ? " zlib" : " deflate";
    if (plan.encrypt) line += " encrypt";
    if (plan.authenticate) line += keyed ? " hmac-sha256" : " sha256";
    if (plan.mime == MimeCoding::Hex) line += " hex";
    if (plan.mime == MimeCoding::Base64) line += " base64";
    if (plan.mime == MimeCoding::Base64Wide) line += " base64-wide";
    line += '\n';
    return line;
}

bool ReadAutoHeader(std::string_view in, LayerPlan& plan, bool& keyed, size_t& length, LayerError& error) {
    const size_t end = in.substr(0, kMaxHeaderSize).find('\n');
    if (in.substr(0, kIntroduction.size()) != kIntroduction || end == std::string_view::npos)
        return error.Fail("the content does not start with a layer header (\"#DataStreamEx 1 ...\")");
    plan = LayerPlan{};
    plan.autoHeader = true;
    keyed = false;
    std::string_view rest = in.substr(kIntroduction.size(), end - kIntroduction.size());
    int lastGroup = -1;
    while (!rest.empty()) {
        if (rest.front() != ' ') return error.Fail("the layer header is malformed");
        rest.remove_prefix(1);
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(word.size());
        size_t i = 0;
        while (i < kGroup.size() && kTokens[i].text != word) ++i;
        if (i == kGroup.size()) return error.Fail("the layer header names an unknown layer");
        if (kGroup[i] <= lastGroup) return error.Fail("the layer header names its layers out of order or twice");
        lastGroup = kGroup[i];
        kTokens[i].apply(plan, keyed);
    }
    length = end + 1;
    return true;
}

} // namespace host::transform
