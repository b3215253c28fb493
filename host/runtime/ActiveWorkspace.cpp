#include "host/runtime/ActiveWorkspace.h"

#include <mutex>
#include <string>

#include "host/base/HostObject.h"
#include "host/collections/ItemCollection.h"
#include "host/values/HostStrings.h"

namespace host {

namespace {

struct WorkspaceState {
    std::mutex mutex;
    std::wstring filename;
    IPtr<ISuperCollection> components = NewCollection();
    std::function<void(int32_t)> refresh;
};

// Never destroyed: components of other modules may sit in the collection,
// and releasing them while the process exits could call into a module that
// is already gone.
WorkspaceState& State() {
    static WorkspaceState* state = new WorkspaceState;
    return *state;
}

class ActiveWorkspace final : public HostObject<IFileArchive, IWorkspace, IUIRefreshableObject> {
public:
    // ---- IFileArchive
    // Empty when no workspace is open.
    HRESULT get_Filename(IString** name) override {
        if (!name) return E_POINTER;
        std::wstring text;
        {
            WorkspaceState& state = State();
            std::lock_guard<std::mutex> guard(state.mutex);
            text = state.filename;
        }
        *name = MakeString(text).Detach();
        return *name ? S_OK : E_FAIL;
    }
    // A null or empty name means that no workspace is open.
    HRESULT put_Filename(IString* name) override {
        std::wstring text = ToWide(name);
        WorkspaceState& state = State();
        std::lock_guard<std::mutex> guard(state.mutex);
        state.filename = std::move(text);
        return S_OK;
    }
    HRESULT get_Filter(IString** filter) override {
        if (filter) *filter = nullptr;
        return E_NOTIMPL;
    }
    // The file's name without its folder and its last extension; empty when
    // no workspace is open.
    HRESULT get_Name(IString** name) override {
        if (!name) return E_POINTER;
        IPtr<IString> file;
        get_Filename(file.Out());
        std::wstring text = ToWide(file.Get());
        if (size_t slash = text.find_last_of(L"/\\"); slash != std::wstring::npos) text.erase(0, slash + 1);
        if (size_t dot = text.rfind(L'.'); dot != std::wstring::npos && dot > 0) text.erase(dot);
        *name = MakeString(text).Detach();
        return *name ? S_OK : E_FAIL;
    }
    HRESULT Load() override { return E_NOTIMPL; }
    HRESULT Save() override { return E_NOTIMPL; }

    // ---- IWorkspace
    HRESULT get_Components(INamedCollection** components) override {
        if (!components) return E_POINTER;
        WorkspaceState& state = State();
        std::lock_guard<std::mutex> guard(state.mutex);
        IPtr<ISuperCollection> copy(state.components.Get());
        *components = copy.Detach();
        return *components ? S_OK : E_FAIL;
    }

    // ---- IUIRefreshableObject
    HRESULT Refresh(int32_t what) override {
        std::function<void(int32_t)> handler;
        {
            WorkspaceState& state = State();
            std::lock_guard<std::mutex> guard(state.mutex);
            handler = state.refresh;
        }
        if (handler) handler(what);
        return S_OK;
    }
};

} // namespace

void CloseWorkspace() {
    WorkspaceState& state = State();
    IPtr<ISuperCollection> components;
    {
        std::lock_guard<std::mutex> guard(state.mutex);
        state.filename.clear();
        components.Reset(state.components.Get());
    }
    // Outside the lock: releasing components may call back into the workspace.
    if (components) components->RemoveAll();
}

void SetWorkspaceRefreshHandler(std::function<void(int32_t)> handler) {
    WorkspaceState& state = State();
    std::lock_guard<std::mutex> guard(state.mutex);
    state.refresh = std::move(handler);
}

HRESULT CreateActiveWorkspace(const IID* iid, void** out) { return CreateHostComponent<ActiveWorkspace>(iid, out); }

} // namespace host
