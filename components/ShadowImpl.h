// CShadow, the "Shadow" step: mirrors a source folder tree into a
// destination folder tree. The copy pass copies what the destination lacks
// (or, with "CopyNewOnly", holds with an older modification time); the
// clean pass deletes from the destination what the source no longer has;
// with no source, the destination is removed. Progress and result lines go
// to the line display bound to the "UILineDisplayable" input.
#pragma once

#include <atomic>

#include "components/FailureLog.h"
#include "components/FileStatistics.h"
#include "components/PassFolders.h"
#include "components/SideThread.h"
#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "step/StepImpl.h"

class CShadow final : public CObject<CShadow>,
                      public IObjectInfoImpl<CShadow>,
                      public IShadow,
                      public InputParametersImpl<CShadow, IParameters>,
                      public IStepImplAsynchronous<CShadow, IStep, CTimer>,
                      public IUIPropertyPageSpecify {
public:
    static constexpr wchar_t kObjectName[] = L"Shadow";

    // Parameter indexes, in declaration order.
    enum Parameter : int32_t {
        kSourcePath = 0,
        kDestinationPath = 1,
        kCleanOlderFiles = 2,
        kCopyNewOnly = 3,
        kCopySubFolders = 4,
    };

    SHADOW_INTERFACE_TABLE(CShadow, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IStep),
                           SHADOW_INTERFACE(IShadow), SHADOW_INTERFACE(IUIPropertyPageSpecify),
                           SHADOW_INTERFACE(IBindableObject), SHADOW_INTERFACE(IDataPersist),
                           SHADOW_INPUT_PARAMETERS, SHADOW_INTERFACE(IParameters),
                           SHADOW_INTERFACE(IReplicableObject))

    CShadow() = default;

    HRESULT FinalConstruct() override;

    // IShadow
    HRESULT Shadow(IString* source, IString* destination, short copyNewOnly, short subFolders, short clean,
                   IUnknown* display) override;
    HRESULT GetCopyStatistics(int32_t* files, double* bytes) override;
    HRESULT GetDeleteStatistics(int32_t* files, double* bytes) override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // The step's work, on the worker thread.
    HRESULT Execute(CStopEvent* stop);

    // The passes. Shadow and Execute call them through the object.
    virtual HRESULT Clean(IString* source, IString* destination, IUILineDisplayable* sink, CStopEvent* stop,
                          short subFolders);
    virtual HRESULT Copy(IString* source, IString* destination, short copyNewOnly, short subFolders,
                         IUILineDisplayable* sink, CStopEvent* stop);
    virtual HRESULT Remove(IString* folder, IUILineDisplayable* sink, int32_t removeFolder, CStopEvent* stop);

    // True while Execute works.
    bool IsExecuting() const { return m_Executing.load(std::memory_order_acquire) != 0; }

    // Test hook: how many polls TurnOff waits for the worker.
    using IStepImplAsynchronous::SetWaitLimit;

private:
    ~CShadow() override = default;
    friend class CObject<CShadow>;

    void SetTitle(const wchar_t* title);
    // Writes (current title, text, kind) to the sink when there is one.
    void Line(IUILineDisplayable* sink, const wchar_t* text, uint32_t kind);
    void Line(IUILineDisplayable* sink, const wchar_t* prefix, const tagREFString& path, uint32_t kind);
    // False (after writing "Connection Aborted (Clean)") when the source
    // should be checked and is no longer the folder the level started with.
    bool SourceStillThere(const CREFString& source, IUILineDisplayable* sink);
    // Creates, or finds as a real folder, the destination sub-folder `name`
    // of the current level; false (reported) when it cannot be used.
    bool MakeSubFolder(const PassFolders::Level& level, IString* name, IString* path);
    // Deletes the file `name` of the current level; a failure is reported.
    // With `size`, stores the file's size (a link's target's) first.
    void DeleteFile(const PassFolders::Level& level, IString* name, IString* path, int64_t* size = nullptr);
    // One run: the source folder's identity, the failures written out.
    class RunScope;

    CFileStatistics m_DeleteStatistics;
    CFileStatistics m_CopyStatistics;
    IPtr<IString> m_Title;
    std::atomic<int16_t> m_Executing{0};
    // Lists the destination while the pass lists the source: on a re-run
    // with little to copy, listing is nearly all of the work.
    SideThread m_Lister;
    // The destination folders the passes are in, and the source folders
    // they guard.
    PassFolders m_Folders;
    // The identity of the run's source folder, taken before its first pass
    // (Shadow and Execute); a clean pass that starts on another folder under
    // the same path stops.
    std::wstring m_RunSourcePath;
    OSFolderIdentity m_RunSourceIdentity;
    bool m_RunSourceKnown = false;
    FailureLog m_Failures{kObjectName};
    // The size of the last destination listing; the first is handed off.
    std::atomic<int32_t> m_LastListingSize{INT32_MAX};
};
