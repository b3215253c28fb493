// The clean and remove passes, the guards of a run, and the step itself.
#include "MirrorFixture.h"

namespace {

TEST_F(MirrorTest, CleanDeletesByNameOnly) {
    Write(src / "kept.txt", "new");
    Write(src / "sub" / "inner.txt", "i");
    Write(dst / "kept.txt", "an older and larger file");
    SetTime(dst / "kept.txt", fs::file_time_type::clock::now() + std::chrono::hours(1));
    Write(dst / "gone.txt", "12345");
    Write(dst / "sub" / "stale.txt", "123");
    Write(dst / "oldsub" / "deep" / "x.txt", "1234567");
    RecordingDisplay display;
    EXPECT_EQ(S_OK, Mirror(true, true, true, &display));

    EXPECT_EQ("an older and larger file", Read(dst / "kept.txt"));
    EXPECT_FALSE(fs::exists(dst / "gone.txt"));
    EXPECT_FALSE(fs::exists(dst / "sub" / "stale.txt"));
    EXPECT_TRUE(fs::exists(dst / "sub" / "inner.txt"));
    EXPECT_FALSE(fs::exists(dst / "oldsub"));
    EXPECT_EQ(std::make_pair(3, 15.0), DeleteStatistics());
    EXPECT_TRUE(display.Has("Deleting: " + (dst / "gone.txt").string(), LINE_STATUS));
    EXPECT_TRUE(display.Has("Deleting Folder+: " + (dst / "oldsub").string(), LINE_STATUS));
    EXPECT_TRUE(display.Has("Deleting Folder: " + (dst / "oldsub" / "deep").string(), LINE_STATUS));
    EXPECT_TRUE(display.Has("Scanning for Delete: " + dst.string(), LINE_PROGRESS));
}

TEST_F(MirrorTest, AFileAndAFolderOfOneNameTradePlacesOverTwoRuns) {
    Write(src / "a", "A");
    Write(src / "b" / "inner", "B");
    Write(dst / "a" / "old", "x");
    Write(dst / "b", "y");
    FailureListener failures;
    // The first run cannot put either in place of the other kind, says so,
    // and cleans both away; the second completes the mirror.
    EXPECT_EQ(S_OK, Mirror(true, true, true));
    EXPECT_EQ(1u, failures.Count("Is a directory"));
    EXPECT_EQ(1u, failures.Count("Not a directory"));
    EXPECT_TRUE(Names(dst).empty());
    EXPECT_EQ(std::make_pair(2, 2.0), DeleteStatistics());
    EXPECT_EQ(S_OK, Mirror(true, true, true));
    EXPECT_EQ("A", Read(dst / "a"));
    EXPECT_EQ("B", Read(dst / "b" / "inner"));
}

TEST_F(MirrorTest, CleanWithoutSubFoldersLeavesDestinationFolders) {
    Write(dst / "extra" / "x.txt", "x");
    Write(dst / "extra.txt", "x");
    EXPECT_EQ(S_OK, Mirror(true, false, true));
    EXPECT_TRUE(fs::exists(dst / "extra" / "x.txt"));
    EXPECT_FALSE(fs::exists(dst / "extra.txt"));
}

TEST_F(MirrorTest, SourceVanishingDuringCleanLeavesTheDestination) {
    for (int i = 0; i < 6; ++i) Write(dst / ("only-in-destination-" + std::to_string(i)), "data");
    Write(dst / "folder" / "f", "data");
    RecordingDisplay display;
    // The source disappears (like an unmounted disk) right after the first
    // deletion.
    display.onLine = [&](const RecordingDisplay::Line& line) {
        if (line.text.rfind("Deleting: ", 0) == 0 && fs::exists(src)) fs::rename(src, root / "unmounted");
    };
    auto* object = static_cast<CShadow*>(shadow.Get());
    EXPECT_EQ(E_FAIL, object->Clean(HostString(src).Get(), HostString(dst).Get(), &display, nullptr, 1));
    EXPECT_EQ(1, DeleteStatistics().first);
    size_t left = 0;
    for (const auto& entry : fs::directory_iterator(dst)) left += entry.is_regular_file();
    EXPECT_EQ(5u, left);
    EXPECT_TRUE(fs::exists(dst / "folder" / "f"));
    EXPECT_TRUE(display.Has("Connection Aborted (Clean)", LINE_ERROR));
}

TEST_F(MirrorTest, CleanRefusesAMissingSourceBeforeAnything) {
    Write(dst / "a", "a");
    RecordingDisplay display;
    auto* object = static_cast<CShadow*>(shadow.Get());
    EXPECT_EQ(E_FAIL, object->Clean(HostString(root / "absent").Get(), HostString(dst).Get(), &display, nullptr, 1));
    EXPECT_TRUE(fs::exists(dst / "a"));
    ASSERT_EQ(1u, display.Lines().size());
    EXPECT_EQ("Connection Aborted (Clean)", display.Lines()[0].text);
}

TEST_F(MirrorTest, RemoveKeepsOrDropsTheTopFolder) {
    Write(dst / "a.txt", "a");
    Write(dst / "b" / "c" / "d.txt", "dd");
    auto* object = static_cast<CShadow*>(shadow.Get());
    EXPECT_EQ(S_OK, object->Remove(HostString(dst).Get(), nullptr, 0, nullptr));
    EXPECT_TRUE(fs::exists(dst));
    EXPECT_TRUE(fs::is_empty(dst));
    EXPECT_EQ(std::make_pair(2, 3.0), DeleteStatistics());

    Write(dst / "b" / "e.txt", "e");
    EXPECT_EQ(S_OK, object->Remove(HostString(dst).Get(), nullptr, 1, nullptr));
    EXPECT_FALSE(fs::exists(dst));
}

TEST_F(MirrorTest, ShadowWithoutSourceRemovesOnlyLongDestinations) {
    // Relative destinations: "d" (too short to be removed) and "long/dst".
    const fs::path saved = fs::current_path();
    fs::current_path(root);
    Write(root / "d" / "f", "x");
    Write(root / "long" / "dst" / "f", "x");
    EXPECT_EQ(S_OK, shadow->Shadow(nullptr, ::HostString("d").Get(), 1, 1, 1, nullptr));
    EXPECT_EQ(S_OK, shadow->Shadow(nullptr, ::HostString("long/dst").Get(), 1, 1, 1, nullptr));
    fs::current_path(saved);
    EXPECT_TRUE(fs::exists(root / "d" / "f"));
    EXPECT_TRUE(fs::exists(root / "long" / "dst"));
    EXPECT_TRUE(fs::is_empty(root / "long" / "dst"));
}

TEST_F(MirrorTest, FailingCopySkipsTheClean) {
    Write(dst / "keep", "k");
    EXPECT_EQ(S_OK, shadow->Shadow(HostString(root / "absent").Get(), HostString(dst).Get(), 1, 1, 1, nullptr));
    EXPECT_TRUE(fs::exists(dst / "keep"));
}

// Runs the step with the given parameter values and a display bound to its
// "UILineDisplayable" input through a workspace, and waits for the end.
class StepTest : public MirrorTest {
protected:
    void Run(const std::string& source, const std::string& destination, int clean, int newOnly = 1) {
        IPtr<IParameters> parameters = shadow.Query<IParameters>();
        ASSERT_TRUE(parameters);
        SetText(parameters.Get(), CShadow::kSourcePath, source);
        SetText(parameters.Get(), CShadow::kDestinationPath, destination);
        SetNumber(parameters.Get(), CShadow::kCleanOlderFiles, clean);
        SetNumber(parameters.Get(), CShadow::kCopyNewOnly, newOnly);

        IPtr<ISuperCollection> workspace = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
        ASSERT_TRUE(workspace);
        IPtr<IString> name = ::HostString("Console");
        workspace->Add(name.Get(), &display, nullptr, 0);
        IPtr<IInputParameters> inputs = shadow.Query<IInputParameters>();
        ASSERT_TRUE(inputs);
        IPtr<IUnknown> input;
        ASSERT_EQ(S_OK, inputs->get_Item(0, input.Out()));
        IPtr<IInputParameter> first = input.Query<IInputParameter>();
        ASSERT_TRUE(first);
        first->put_SourceComponent(name.Get());
        IPtr<IBindableObject> bindable = shadow.Query<IBindableObject>();
        bindable->Bind(workspace.Get(), nullptr);

        IPtr<IStep> step = shadow.Query<IStep>();
        ASSERT_EQ(S_OK, step->TurnOn());
        for (int i = 0; i < 3000 && step->IsRunning(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_FALSE(step->IsRunning());
    }
    static void SetText(IParameters* parameters, int32_t index, const std::string& text) {
        IPtr<IString> value = ::HostString(text);
        ASSERT_EQ(S_OK, parameters->put_Item(index, value.Get()));
    }
    static void SetNumber(IParameters* parameters, int32_t index, int value) {
        IPtr<IVariant> variant = IPtr<IVariant>::Adopt(IVCreate(value));
        ASSERT_EQ(S_OK, parameters->put_Item(index, variant.Get()));
    }
    RecordingDisplay display;
};

TEST_F(StepTest, RunMirrorsAndWritesTheResultLines) {
    Write(src / "a", "12345");
    Write(dst / "old", "x");
    Run(src.string(), dst.string(), 1);
    EXPECT_EQ("12345", Read(dst / "a"));
    EXPECT_FALSE(fs::exists(dst / "old"));
    const auto lines = display.Lines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ("Shadow", lines[lines.size() - 2].title);
    EXPECT_EQ("Copied  1 Files (5             bytes) on " + dst.string() + " ", lines[lines.size() - 2].text);
    EXPECT_EQ("Deleted 1 Files (1             bytes) on " + dst.string() + " ", lines.back().text);
    EXPECT_TRUE(display.Has("Copying: " + (src / "a").string(), LINE_STATUS));
}

TEST_F(StepTest, SameFolderByCaseDoesNothing) {
    Write(src / "a", "a");
    Run("  " + src.string(), src.string(), 1);
    EXPECT_TRUE(display.Lines().empty());
    std::string upper = src.string();
    for (auto& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    Run(upper, src.string(), 1);
    EXPECT_TRUE(display.Lines().empty());
    EXPECT_TRUE(fs::exists(src / "a"));
}

TEST_F(StepTest, EmptySourceRemovesTheDestinationOnlyWithClean) {
    Write(dst / "a", "a");
    Run("", dst.string(), 0);
    EXPECT_TRUE(fs::exists(dst / "a"));
    Run(" ", dst.string(), 1);
    EXPECT_FALSE(fs::exists(dst));
    ASSERT_FALSE(display.Lines().empty());
    EXPECT_EQ("Delete Folder)", display.Lines().front().title);
}

TEST_F(StepTest, MissingSourceReportsTheConnectionAndSkipsClean) {
    Write(dst / "keep", "k");
    Run((root / "absent").string(), dst.string(), 1);
    EXPECT_TRUE(fs::exists(dst / "keep"));
    EXPECT_TRUE(display.Has("Connection Aborted (Copy)", LINE_ERROR));
    EXPECT_EQ(2u, display.CountStarting("Copied  0 Files") + display.CountStarting("Deleted 0 Files"));
}

TEST_F(StepTest, ComponentAnswersItsInterfacesAndPages) {
    for (const IID* iid : {&IID_IObjectInfo, &IID_IStep, &IID_IShadow, &IID_IUIPropertyPageSpecify,
                           &IID_IBindableObject, &IID_IDataPersist, &IID_IInputParameters, &IID_IParameters,
                           &IID_IReplicableObject}) {
        IPtr<IUnknown> face;
        EXPECT_EQ(S_OK, shadow->QueryInterface(*iid, face.OutVoid()));
    }
    IPtr<IUnknown> none;
    EXPECT_EQ(E_NOINTERFACE, shadow->QueryInterface(IID_IParametersCreatable, none.OutVoid()));
    IPtr<IParameters> parameters = shadow.Query<IParameters>();
    const char* names[] = {"SourcePath", "DestinationPath", "CleanOlderFiles", "CopyNewOnly", "CopySubFolders"};
    const int32_t flags[] = {0x26, 0x26, 0x13, 0x13, 0x13};
    int32_t count = 0;
    parameters->get_Count(&count);
    ASSERT_EQ(5, count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        parameters->get_ItemName(i, name.Out());
        EXPECT_EQ(names[i], Narrow(name.Get()));
        int32_t f = 0;
        parameters->get_ItemFlags(i, &f);
        EXPECT_EQ(flags[i], f);
    }
    IPtr<IUIPropertyPageSpecify> pages = shadow.Query<IUIPropertyPageSpecify>();
    IPtr<INamedCollection> list;
    ASSERT_EQ(S_OK, pages->GetPages(0, list.Out(), nullptr));
    int32_t pageCount = 0;
    list->get_Count(&pageCount);
    EXPECT_EQ(2, pageCount);
}

} // namespace
