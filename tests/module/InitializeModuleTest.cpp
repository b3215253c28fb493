// How the module holds the host collection it is given.
#include <gtest/gtest.h>

#include "module/Module.h"
#include "support/CountingCollection.h"

namespace {

class HostCollection : public ::testing::Test {
protected:
    // The module lets go of the collection before the collection ends.
    void TearDown() override { InitializeModule(nullptr, nullptr); }

    CountingCollection host;
};

TEST_F(HostCollection, TheModuleHoldsExactlyOneReferenceToTheLatestCollection) {
    EXPECT_EQ(InitializeModule(nullptr, &host), S_OK);
    EXPECT_EQ(host.Refs(), 1u);
    EXPECT_EQ(gGlobalComponentCollection.Get(), &host);

    // The same collection again: still one.
    EXPECT_EQ(InitializeModule(reinterpret_cast<void*>(0x1234), &host), S_OK);
    EXPECT_EQ(host.Refs(), 1u);
    EXPECT_EQ(gGlobalComponentCollection.Get(), &host);

    // Another collection replaces it and the first is released.
    CountingCollection second;
    EXPECT_EQ(InitializeModule(nullptr, &second), S_OK);
    EXPECT_EQ(host.Refs(), 0u);
    EXPECT_EQ(second.Refs(), 1u);
    EXPECT_EQ(gGlobalComponentCollection.Get(), &second);

    EXPECT_EQ(InitializeModule(nullptr, nullptr), S_OK);
    EXPECT_EQ(second.Refs(), 0u);
    EXPECT_FALSE(gGlobalComponentCollection);
    // Emptying an empty module is harmless.
    EXPECT_EQ(InitializeModule(nullptr, nullptr), S_OK);
}

TEST_F(HostCollection, GlobalComponentsHandsOutANewReference) {
    InitializeModule(nullptr, &host);
    IComponentCollection* got = GLOBALComponents();
    EXPECT_EQ(got, &host);
    EXPECT_EQ(host.Refs(), 2u);
    got->Release();
    EXPECT_EQ(host.Refs(), 1u);
}

TEST_F(HostCollection, CreateObjectReturnsNullWhenTheHostMakesNothing) {
    InitializeModule(nullptr, &host); // a host collection that creates nothing
    IID iid = IID_ICreatableString;
    EXPECT_EQ(CreateObject(REFLiteral(L"CreatableString"), &iid), nullptr);
    // The collection reference taken for the call was given back.
    EXPECT_EQ(host.Refs(), 1u);
}

} // namespace
