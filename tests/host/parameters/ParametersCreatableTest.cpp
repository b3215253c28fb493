// What only the host's "ParametersCreatable" does. The rules it shares with
// the module's parameter collection are tested against both in
// tests/parameters/ParameterCollectionTest.cpp.
#include <thread>

#include "support/HostTestSupport.h"

namespace {

using namespace hosttest;

// A key that is neither a name, a number nor an object is refused as an
// argument; the module's collection answers E_FAIL for such a key.
TEST(ParametersCreatable, KeysNamingNothingAreInvalid) {
    IPtr<IParametersCreatable> params = NewParameters();
    ASSERT_EQ(params->Add(Str(L"a").Get(), Int(1).Get(), nullptr, 0), S_OK);
    IPtr<IVariant> empty = host::NewVariant();
    for (IUnknown* key : {static_cast<IUnknown*>(nullptr), static_cast<IUnknown*>(empty.Get())}) {
        int32_t index = -7;
        EXPECT_EQ(params->get_Index(key, &index), E_INVALIDARG);
        EXPECT_EQ(index, -1);
    }
}

// CollectionLock is a real lock here, so only the thread holding it can
// unlock; the module's is a slot without exclusion that always unlocks.
TEST(ParametersCreatable, OnlyTheHolderUnlocks) {
    IPtr<IParametersCreatable> params = NewParameters();
    ASSERT_EQ(params->CollectionLock(), S_OK);
    HRESULT fromOtherThread = S_OK;
    std::thread([&] { fromOtherThread = params->CollectionUnlock(); }).join();
    EXPECT_EQ(fromOtherThread, E_FAIL);
    EXPECT_EQ(params->IsCollectionLocked(), 1);
    EXPECT_EQ(params->CollectionUnlock(), S_OK);
    EXPECT_EQ(params->CollectionUnlock(), E_FAIL);
}

} // namespace
