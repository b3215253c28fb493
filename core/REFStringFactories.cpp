// The makers of host strings, variants and collections. Each kind keeps the
// host's component string for its component and asks it for new instances.
// The component string comes from the host collection when a host gave us
// one, else from the collection module loaded by this module itself.
#include <atomic>

#include "core/REFString.h"
#include "module/Module.h"

namespace {

// Holds one reference on a component string from first successful use to
// unload. Filling is not locked: when two first callers race, both may
// create a component string; the first stored is kept and the other is
// released, so nothing leaks and no one sees a half-stored pointer.
class ComponentStringSlot final {
public:
    ComponentStringSlot() = default;
    ComponentStringSlot(const ComponentStringSlot&) = delete;
    ComponentStringSlot& operator=(const ComponentStringSlot&) = delete;
    ~ComponentStringSlot() {
        IComponentString* old = m_p.exchange(nullptr);
        if (old) old->Release();
    }

    IComponentString* Get() const { return m_p.load(std::memory_order_acquire); }

    // Stores `candidate` unless the slot was filled meanwhile; returns the
    // component string now held.
    IComponentString* Offer(IPtr<IComponentString> candidate) {
        if (!candidate) return Get();
        IComponentString* expected = nullptr;
        if (m_p.compare_exchange_strong(expected, candidate.Get(), std::memory_order_acq_rel)) {
            (void)candidate.Detach(); // the slot holds its reference now
            return Get();
        }
        return expected;
    }

private:
    std::atomic<IComponentString*> m_p{nullptr};
};

IComponentString* FillSlot(ComponentStringSlot& slot, const wchar_t* component) {
    if (IComponentString* held = slot.Get()) return held;

    IPtr<IComponentString> found;
    if (IComponentCollection* host = gGlobalComponentCollection.Get())
        host->CreateComponent(REFLiteral(component), nullptr, found.OutVoid());

    if (!found) {
        // No host (or it lacks the component): describe the component
        // ourselves with a component string of the collection module.
        CreatorFunction creator = MODULECreateFunction(REFLiteral(L"CollectionsEx"), REFLiteral(L"ComponentString"));
        IID iid = IPtr<IComponentString>::Id();
        if (creator) creator(nullptr, &iid, found.OutVoid());
        if (found) {
            found->SetField(COMPONENT_FIELD_MODULE, REFLiteral(L"Collections"));
            found->SetField(COMPONENT_FIELD_NAME, REFLiteral(component));
        }
    }
    return slot.Offer(std::move(found));
}

template <class T>
T* CreateFromSlot(ComponentStringSlot& slot, const wchar_t* component) {
    IComponentString* maker = FillSlot(slot, component);
    if (!maker) return nullptr;
    void* out = nullptr;
    IID iid = InterfaceInfo<T>::Id();
    if (FAILED(maker->CreateInstance(&iid, &out))) return nullptr;
    return static_cast<T*>(out);
}

} // namespace

ICreatableString* CREFString::CreateString() {
    static ComponentStringSlot slot;
    return CreateFromSlot<ICreatableString>(slot, L"CreatableString");
}

IVariant* CREFString::CreateVariant() {
    static ComponentStringSlot slot;
    return CreateFromSlot<IVariant>(slot, L"Variant");
}

ISuperCollection* CREFString::CreateCollection() {
    static ComponentStringSlot slot;
    return CreateFromSlot<ISuperCollection>(slot, L"SuperCollection");
}
