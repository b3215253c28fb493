// The smart pointer's ownership rules, on an object that counts its
// references and records what its holder saw while it was released.
#include <gtest/gtest.h>

#include <functional>

#include "sdk/Framework.h"

namespace {

class Counted final : public IString {
public:
    HRESULT QueryInterface(const IID& iid, void** out) override {
        if (iid != IID_IUnknown && iid != IID_IString) {
            *out = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        *out = static_cast<IString*>(this);
        return S_OK;
    }
    uint32_t AddRef() override { return ++refs; }
    uint32_t Release() override {
        if (onRelease) onRelease();
        return --refs;
    }
    HRESULT GetString(tagREFString*) override { return E_NOTIMPL; }

    uint32_t refs = 1;
    std::function<void()> onRelease;
};

TEST(InterfacePtr, CountsEveryReferenceItTakesAndGives) {
    Counted object;
    {
        IPtr<IString> adopted = IPtr<IString>::Adopt(&object); // the maker's reference
        EXPECT_EQ(1u, object.refs);
        IPtr<IString> copy(adopted);
        EXPECT_EQ(2u, object.refs);
        IPtr<IString> moved(std::move(copy));
        EXPECT_EQ(2u, object.refs);
        EXPECT_FALSE(copy);
        IPtr<IString> queried = QueryAs<IString>(&object);
        EXPECT_EQ(3u, object.refs);
        EXPECT_FALSE(QueryAs<IVariant>(&object)); // not answered: no reference kept
        EXPECT_EQ(3u, object.refs);
        IString* handedOn = queried.Detach();
        EXPECT_EQ(3u, object.refs);
        handedOn->Release();
    }
    EXPECT_EQ(0u, object.refs);
}

TEST(InterfacePtr, LetsGoBeforeTheReleaseRuns) {
    Counted object;
    object.refs = 2;
    IPtr<IString> holder = IPtr<IString>::Adopt(&object);
    bool emptyDuringRelease = false;
    object.onRelease = [&] { emptyDuringRelease = !holder; };
    holder.Release();
    EXPECT_TRUE(emptyDuringRelease);

    holder.Reset(&object);
    emptyDuringRelease = false;
    IString** slot = holder.Out(); // releases what it held first
    EXPECT_TRUE(emptyDuringRelease);
    EXPECT_EQ(nullptr, *slot);
    EXPECT_EQ(1u, object.refs);
}

} // namespace
