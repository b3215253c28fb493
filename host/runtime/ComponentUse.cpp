#include "host/runtime/ComponentUse.h"

#include <atomic>
#include <mutex>
#include <set>
#include <utility>

#include "host/runtime/ModuleLoader.h"

namespace host {

namespace {

struct UseRecord {
    std::mutex mutex;
    std::vector<ComponentUse> inOrder;
    std::set<std::pair<std::wstring, std::wstring>> noted;
};

std::atomic<uint64_t> gGeneration{1};

// Never destroyed: components may still be made while the process exits.
UseRecord& Record() {
    static UseRecord* record = new UseRecord;
    return *record;
}

} // namespace

void NoteComponentUse(std::wstring_view component, std::wstring_view module) {
    std::pair<std::wstring, std::wstring> key(component, IsHostModuleName(module) ? L"CollectionsEx" : module);
    UseRecord& record = Record();
    std::lock_guard<std::mutex> hold(record.mutex);
    if (!record.noted.insert(key).second) return;
    record.inOrder.push_back(ComponentUse{std::move(key.first), std::move(key.second)});
}

std::vector<ComponentUse> ComponentsInUse(size_t first) {
    UseRecord& record = Record();
    std::lock_guard<std::mutex> hold(record.mutex);
    if (first >= record.inOrder.size()) return {};
    return std::vector<ComponentUse>(record.inOrder.begin() + static_cast<std::ptrdiff_t>(first),
                                     record.inOrder.end());
}

uint64_t ComponentUseGeneration() { return gGeneration.load(std::memory_order_acquire); }

void ForgetComponentUseForTesting() {
    UseRecord& record = Record();
    std::lock_guard<std::mutex> hold(record.mutex);
    gGeneration.fetch_add(1, std::memory_order_acq_rel);
    record.inOrder.clear();
    record.noted.clear();
}

} // namespace host
