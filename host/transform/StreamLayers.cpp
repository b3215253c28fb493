#include "host/transform/StreamLayers.h"

#include <algorithm>
#include <future>

#include "host/transform/Authentication.h"
#include "host/transform/AutoHeader.h"
#include "host/transform/Mime.h"
#include "host/transform/SealedBox.h"

namespace host::transform {

namespace {

constexpr const char* kNoKey =
    "no key: give one with put_Key or set the key \"Key\" in the section \"DataStreamEx\" of the settings registry";

int LayerCount(const LayerPlan& plan) {
    return (plan.compress ? 1 : 0) + (plan.encrypt ? 1 : 0) + (plan.authenticate ? 1 : 0) +
           (plan.mime != MimeCoding::None ? 1 : 0);
}

// Hands out the buffer each layer writes into: `out` for the last layer,
// else the work buffer not holding the layer's input.
class Buffers final {
public:
    Buffers(std::string& out, int layers) : m_out(out), m_left(layers) {}
    std::string& Next() {
        if (--m_left == 0) return m_out;
        m_flip = !m_flip;
        std::string& work = m_flip ? m_a : m_b;
        work.clear();
        return work;
    }
    // Drops the work buffer a finished layer read from.
    void Release(std::string_view input) {
        for (std::string* work : {&m_a, &m_b})
            if (input.data() == work->data()) std::string().swap(*work);
    }

private:
    std::string& m_out;
    std::string m_a, m_b;
    int m_left;
    bool m_flip = false;
};

// Runs a key derivation beside the caller's other work (on a thread of its
// own when one can be had); Wait gives its result.
class Derivation final {
public:
    template <class F>
    explicit Derivation(F derive) : m_result(std::async(std::launch::async | std::launch::deferred, std::move(derive))) {}
    Derivation() = default;
    bool Wait() { return !m_result.valid() || m_result.get(); }

private:
    std::future<bool> m_result;
};

} // namespace

bool ApplyLayers(std::string_view in, const LayerPlan& plan, const LayerSettings& settings, std::string& out,
                 LayerError& error) {
    out.clear();
    const std::string* key = settings.key ? &*settings.key : nullptr;
    if (plan.encrypt && !key) return error.Fail(kNoKey);
    // The derivations (slow by design) run while the content deflates.
    SealKeys sealKeys;
    AuthKey authKey;
    const bool keyedAuth = plan.authenticate && key;
    Derivation sealing, authenticating;
    if (plan.encrypt) sealing = Derivation([&] { return PrepareSealKeys(*key, settings.iterations, sealKeys); });
    if (keyedAuth) authenticating = Derivation([&] { return PrepareAuthKey(*key, settings.iterations, authKey); });
    if (plan.autoHeader) out = WriteAutoHeader(plan, key != nullptr);
    Buffers buffers(out, LayerCount(plan));
    std::string_view current = in;
    // Each layer appends to an empty work buffer or to `out` after the header.
    auto step = [&](auto&& layer) {
        std::string& to = buffers.Next();
        const size_t from = to.size();
        if (!layer(to)) return false;
        buffers.Release(current);
        current = std::string_view(to).substr(from);
        return true;
    };
    const bool compressed = !plan.compress || step([&](std::string& to) { return Deflate(current, *plan.compress, to, error); });
    const bool derived = sealing.Wait() & authenticating.Wait();
    if (!compressed) return false;
    if (!derived) return error.Fail("the key derivation failed");
    if (plan.encrypt && !step([&](std::string& to) { return Seal(current, sealKeys, to, error); })) return false;
    if (plan.authenticate && !step([&](std::string& to) {
            const size_t from = to.size();
            to.append(current);
            return AddAuthentication(to, from, keyedAuth ? &authKey : nullptr, error);
        }))
        return false;
    if (plan.mime != MimeCoding::None && !step([&](std::string& to) {
            switch (plan.mime) {
            case MimeCoding::Hex: HexEncode(current, to); break;
            case MimeCoding::Base64: Base64Encode(current, to); break;
            default: {
                std::string narrow;
                Base64Encode(current, narrow);
                WidenText(narrow, to);
            }
            }
            return true;
        }))
        return false;
    if (LayerCount(plan) == 0) out.append(in);
    return true;
}

bool RevertLayers(std::string_view in, const LayerPlan& requested, const LayerSettings& settings, std::string& out,
                  LayerError& error) {
    out.clear();
    const std::string* key = settings.key ? &*settings.key : nullptr;
    LayerPlan plan = requested;
    std::string_view current = in;
    if (requested.autoHeader) {
        bool keyed = false;
        size_t length = 0;
        if (!ReadAutoHeader(in, plan, keyed, length, error)) return false;
        if (keyed && !key) return error.Fail(std::string("the content was authenticated with a key, and there is ") + kNoKey);
        current.remove_prefix(length);
    }
    if (plan.encrypt && !key) return error.Fail(kNoKey);
    // Layers that produce bytes (all but the authentication check, which
    // only narrows the view) write into the buffers.
    const int producing = (plan.compress ? 1 : 0) + (plan.encrypt ? 1 : 0) + (plan.mime != MimeCoding::None ? 1 : 0) +
                          (plan.mime == MimeCoding::Base64Wide ? 1 : 0);
    Buffers buffers(out, producing);
    auto step = [&](auto&& layer) {
        std::string& to = buffers.Next();
        if (!layer(to)) return false;
        buffers.Release(current);
        current = to;
        return true;
    };
    if (plan.mime == MimeCoding::Base64Wide &&
        !step([&](std::string& to) { return NarrowText(current, to, error); }))
        return false;
    if (plan.mime != MimeCoding::None && !step([&](std::string& to) {
            return plan.mime == MimeCoding::Hex ? HexDecode(current, to, error) : Base64Decode(current, to, error);
        }))
        return false;
    // Both derivations read their salt and count from content not yet
    // checked, which is safe: nothing derived is used before its MAC
    // matched, and the counts are capped. They run side by side.
    SealKeys sealKeys;
    AuthKey authKey;
    const bool keyedAuth = plan.authenticate && key;
    Derivation sealing, authenticating;
    if (keyedAuth) authenticating = Derivation([&] { return ReadAuthKey(current, *key, settings.maxIterations, authKey); });
    if (plan.encrypt) {
        const size_t trailer = !plan.authenticate ? 0 : keyedAuth ? kKeyedTrailerSize : kPlainTrailerSize;
        const std::string_view box = current.substr(0, current.size() - std::min(trailer, current.size()));
        sealing = Derivation([&, box] { return ReadSealKeys(box, *key, settings.maxIterations, sealKeys); });
    }
    // A refused header leaves its keys underived, which the checks below
    // turn into the one failure of protected content.
    sealing.Wait();
    authenticating.Wait();
    if (plan.authenticate && !CheckAuthentication(current, keyedAuth ? &authKey : nullptr, current, error)) return false;
    if (plan.encrypt && !step([&](std::string& to) { return Open(current, sealKeys, to, error); })) return false;
    if (plan.compress &&
        !step([&](std::string& to) { return Inflate(current, *plan.compress, settings.inflateLimit, to, error); }))
        return false;
    // With no producing layer, or the authentication check last, the result
    // is still a view.
    if (current.data() == out.data()) out.resize(current.size());
    else out.assign(current);
    return true;
}

} // namespace host::transform
