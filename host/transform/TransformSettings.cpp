#include "host/transform/TransformSettings.h"

#include <atomic>
#include <charconv>
#include <vector>

#include "host/settings/Registry.h"
#include "host/text/Utf8.h"
#include "sdk/Registry.h"

namespace host::transform {

namespace {

std::atomic<uint32_t> g_testIterations{0};

// The text of the key in the section "DataStreamEx", or none.
std::optional<std::wstring> Setting(const wchar_t* name) {
    IPtr<IRegistry> registry;
    if (FAILED(CreateRegistry(&IPtr<IRegistry>::Id(), registry.OutVoid())) || !registry) return std::nullopt;
    std::vector<wchar_t> buffer(4096);
    if (FAILED(registry->GetValue(REFLiteral(L"DataStreamEx"), REFLiteral(name), buffer.data(),
                                  static_cast<int32_t>(buffer.size()))))
        return std::nullopt;
    return std::wstring(buffer.data());
}

bool Number(const wchar_t* name, uint64_t low, uint64_t high, uint64_t& value, LayerError& error) {
    const std::optional<std::wstring> text = Setting(name);
    if (!text) return true;
    const std::string digits = ToUtf8(*text);
    uint64_t parsed = 0;
    const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), parsed);
    if (ec != std::errc() || end != digits.data() + digits.size() || parsed < low || parsed > high)
        return error.Fail("the setting " + ToUtf8(name) + " in the section DataStreamEx is not a number from " +
                          std::to_string(low) + " to " + std::to_string(high));
    value = parsed;
    return true;
}

} // namespace

std::optional<std::string> ConfiguredKey() {
    std::optional<std::wstring> text = Setting(L"Key");
    if (!text || text->empty()) return std::nullopt;
    return ToUtf8(*text);
}

bool ConfiguredInflateLimit(uint64_t& limit, LayerError& error) {
    limit = kDefaultInflateLimit;
    return Number(L"MaxInflatedBytes", 0, uint64_t{1} << 62, limit, error);
}

bool ConfiguredIterations(uint32_t& iterations, LayerError& error) {
    if (const uint32_t forced = g_testIterations.load()) {
        iterations = forced;
        return true;
    }
    uint64_t value = kDefaultIterations;
    if (!Number(L"Iterations", kMinConfiguredIterations, kMaxIterations, value, error)) return false;
    iterations = static_cast<uint32_t>(value);
    return true;
}

void SetIterationsForTesting(uint32_t iterations) { g_testIterations.store(iterations); }
uint32_t IterationsForTesting() { return g_testIterations.load(); }

} // namespace host::transform
