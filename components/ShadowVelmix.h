// CShadowVelmix, the "ShadowVelmix" step: assembles the release folder of
// the runtime for one or more target platforms.
//
//   "SourceCSV"         the components list (components/VelmixLists.h)
//   "SourcePath"        the product tree: a folder "_bin<platform>" of
//                       modules per platform, and the runners at its root
//   "CommonSourcePath"  the tree of the common support files
//   "DestinationPath"   the release folder
//   "OS"                the platforms, matched case-blind over the shorter
//                       length against the keys of the platform table: WIN
//                       selects both Windows platforms, MACOS selects MAC,
//                       an empty value none
//
// Execute, synchronous, inside TurnOn: without "SourceCSV", "SourcePath" or
// "DestinationPath" nothing is done. Otherwise the backslashes of those three
// become "/", written back into the parameters ("CommonSourcePath" is used as
// it is); the list is read; for each selected platform, in the table's
// order, its modules go to "_bin<platform>" of the release (CopyBin) and
// then its runner; then the common files (CopyExtra); then the line
// "Copied <n> Files (<bytes> bytes)". Module copies count one file each
// (no bytes), whether or not they succeeded; runner copies count nothing;
// each file of the common folder steps and of the extra-file list counts
// one file and its size.
//
// Every copy goes through ReleaseFolder: no link inside the release is
// followed, and a listed path that would leave it is refused with an error
// line and an event-log line. Other failures (a module missing in the
// product tree, a list that cannot be read) are not on the display; they go
// to "EventLogGlobal" (FailureLog). Lines go to the display bound to the
// "UILineDisplayable" input, under the title "ShadowVelmix".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "components/FailureLog.h"
#include "components/FileStatistics.h"
#include "components/ReleaseFolder.h"
#include "components/VelmixLists.h"
#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "step/StepImpl.h"

class CShadowVelmix final : public CObject<CShadowVelmix>,
                            public IObjectInfoImpl<CShadowVelmix>,
                            public InputParametersImpl<CShadowVelmix, IParameters>,
                            public IStepImplSynchronous<CShadowVelmix, IStep, CTimer>,
                            public IUIPropertyPageSpecify {
public:
    static constexpr wchar_t kObjectName[] = L"ShadowVelmix";

    // Parameter indexes, in declaration order.
    enum Parameter : int32_t {
        kSourceCSV = 0,
        kSourcePath = 1,
        kCommonSourcePath = 2,
        kDestinationPath = 3,
        kOS = 4,
    };

    // How a platform's runner is copied.
    enum class Runner { Windows32, Windows64, Mac, Linux };
    // One row of the platform table; the table's order is the order of
    // processing.
    struct Platform {
        const wchar_t* key;
        const wchar_t* progress; // the line shown when the platform starts
        const wchar_t* folder;   // in the product tree and in the release
        const wchar_t* suffix;
        const wchar_t* preferredSuffix; // taken when that file exists; null for none
        Runner runner;
    };
    static const Platform kPlatforms[7];

    SHADOW_INTERFACE_TABLE(CShadowVelmix, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IStep),
                           SHADOW_INTERFACE(IUIPropertyPageSpecify), SHADOW_INTERFACE(IBindableObject),
                           SHADOW_INTERFACE(IDataPersist), SHADOW_INPUT_PARAMETERS, SHADOW_INTERFACE(IParameters),
                           SHADOW_INTERFACE(IReplicableObject))

    CShadowVelmix() = default;

    HRESULT FinalConstruct() override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // The packaging run, on the caller's thread; returns 0.
    HRESULT Execute(CStopEvent* stop);

    // The counters of the last run; either pointer may be null. The delete
    // counters stay 0: this step deletes nothing.
    HRESULT GetCopyStatistics(int32_t* files, double* bytes);
    HRESULT GetDeleteStatistics(int32_t* files, double* bytes);

private:
    ~CShadowVelmix() override = default;
    friend class CObject<CShadowVelmix>;

    // What one run works with. Paths use "/".
    struct Run {
        std::wstring source;      // "SourcePath"
        std::wstring common;      // "CommonSourcePath"
        std::wstring destination; // "DestinationPath"
        ReleaseFolder release;
        IUILineDisplayable* sink = nullptr;
        CStopEvent* stop = nullptr;
    };

    ComponentLists CreateLists(IString* csvPath);
    void CopyBin(Run& run, const Platform& platform, const std::vector<std::wstring>& modules);
    void CopyWindows(Run& run, bool is32Bit);
    void CopyMAC(Run& run);
    void CopyLinux(Run& run);
    void CopyExtra(Run& run, const std::vector<std::wstring>& extraFiles);

    // One file of the product tree's root copied to the release's root,
    // not counted.
    void CopyRunnerFile(Run& run, const wchar_t* name);
    // Copies every file directly in the common tree's folder `relative`
    // ("" for its root) to the same folder of the release, counting each.
    void CopyFolderFiles(Run& run, const std::wstring& relative);
    // Copies `source` to `relative` in the release; a failure goes to the
    // event log. Returns the copy's status.
    HRESULT CopyInto(Run& run, const std::wstring& source, std::wstring_view relative, bool createFolders);
    // The parameter's text with every backslash made "/", written back.
    std::wstring Slashed(int32_t index, IString* text);
    void Line(IUILineDisplayable* sink, std::wstring_view text, uint32_t kind = LINE_STATUS);

    CFileStatistics m_CopyStatistics;
    CFileStatistics m_DeleteStatistics;
    FailureLog m_Failures{kObjectName};
};
