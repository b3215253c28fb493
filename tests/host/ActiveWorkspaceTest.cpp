#include <gtest/gtest.h>

#include "HostParamsSupport.h"
#include "host/ActiveWorkspace.h"

namespace {

using namespace paramstest;

class ActiveWorkspaceTest : public ::testing::Test {
protected:
    void TearDown() override {
        host::SetWorkspaceRefreshHandler({});
        host::CloseWorkspace();
    }
    static std::wstring Filename(IFileArchive* archive) {
        IPtr<IString> name;
        EXPECT_EQ(archive->get_Filename(name.Out()), S_OK);
        return host::ToWide(name.Get());
    }
};

TEST_F(ActiveWorkspaceTest, EveryInstanceSeesTheSameFileName) {
    IPtr<IFileArchive> first = Make<IFileArchive>(L"ActiveWorkspace", IID_IFileArchive);
    IPtr<IFileArchive> second = Make<IFileArchive>(L"ActiveWorkspace", IID_IFileArchive);
    EXPECT_EQ(Filename(second.Get()), L"") << "no workspace open";
    ASSERT_EQ(first->put_Filename(Str(L"/home/u/work/Project.sws").Get()), S_OK);
    EXPECT_EQ(Filename(second.Get()), L"/home/u/work/Project.sws");
    IPtr<IString> name;
    ASSERT_EQ(second->get_Name(name.Out()), S_OK);
    EXPECT_EQ(host::ToWide(name.Get()), L"Project");
    EXPECT_EQ(second->Load(), E_NOTIMPL);
    EXPECT_EQ(second->Save(), E_NOTIMPL);
    host::CloseWorkspace();
    EXPECT_EQ(Filename(first.Get()), L"");
}

TEST_F(ActiveWorkspaceTest, ComponentsAreOneCollectionThatInputsBindTo) {
    IPtr<IWorkspace> workspace = Make<IWorkspace>(L"ActiveWorkspace", IID_IWorkspace);
    IPtr<INamedCollection> components;
    ASSERT_EQ(workspace->get_Components(components.Out()), S_OK);
    IPtr<ISuperCollection> fillable = components.Query<ISuperCollection>(IID_ISuperCollection);
    ASSERT_TRUE(fillable) << "the host fills it";
    IPtr<IParametersCreatable> source = NewParameters();
    source->Add(Str(L"Port").Get(), Int(21).Get(), nullptr, 0);
    fillable->Add(Str(L"Server").Get(), source.Get(), nullptr, 0);

    IPtr<INamedCollection> again;
    Make<IWorkspace>(L"ActiveWorkspace", IID_IWorkspace)->get_Components(again.Out());
    EXPECT_EQ(Names(again.Get()), std::vector<std::wstring>{L"Server"}) << "shared by every instance";

    IPtr<IInputParameter> input = Make<IInputParameter>(L"InputParameter", IID_IInputParameter);
    input->put_SourceComponent(Str(L"Server").Get());
    input->put_SourceParameter(Str(L"Port").Get());
    IPtr<IUnknown> moniker;
    input->get_Moniker(moniker.Out());
    moniker.Query<ICollectionMoniker>(IID_ICollectionMoniker)->BindToCollection(again.Get());
    IPtr<IUnknown> value;
    ASSERT_EQ(input->get_Value(value.Out()), S_OK);
    int32_t port = 0;
    value.Query<IVariant>(IID_IVariant)->get_Integer(&port);
    EXPECT_EQ(port, 21);

    host::CloseWorkspace();
    EXPECT_EQ(input->get_Value(value.Out()), E_FAIL) << "a closed workspace has no components";
}

TEST_F(ActiveWorkspaceTest, RefreshReachesTheHostsHandler) {
    std::vector<int32_t> seen;
    host::SetWorkspaceRefreshHandler([&](int32_t what) { seen.push_back(what); });
    IPtr<IUIRefreshableObject> refreshable = Make<IUIRefreshableObject>(L"ActiveWorkspace", IID_IUIRefreshableObject);
    EXPECT_EQ(refreshable->Refresh(1), S_OK);
    EXPECT_EQ(refreshable->Refresh(7), S_OK);
    host::SetWorkspaceRefreshHandler({});
    EXPECT_EQ(refreshable->Refresh(2), S_OK);
    EXPECT_EQ(seen, (std::vector<int32_t>{1, 7}));
}

} // namespace
