// CShadowSelective, the "ShadowSelective" step: mirrors a chosen list of
// folders and files, given relative to "SourceRoot", into the same places
// under "DestinationRoot", and prints one result line for the whole list.
//
// The list is the text of "FolderOrFile1" to "FolderOrFile40" and of any
// parameter a user added after them (the collection is creatable: IParameters
// and IParametersCreatable answer the same object). Each parameter may hold
// several entries, one a line; the first parameter without an entry ends
// the list. A folder entry is mirrored by an inner "Shadow" step made by
// name through the host collection, with the three switches of this step;
// a file entry is copied with OSCopyFile (its destination folder must
// exist: it is never created). The inner step's statistics are added up per
// folder; the file copies are not counted.
//
// The result parameters "NbCopied" to "BytesDeleted" are declared for a
// host to show and bind; Execute does not write them. The totals are read
// through IShadow's GetCopyStatistics and GetDeleteStatistics.
//
// Failures nobody sees on the display go to the host's "EventLogGlobal": a
// file entry that cannot be copied (a missing destination folder among the
// reasons), an empty destination root, a missing inner "Shadow". The inner
// step records its own failures there as well.
//
// The parameter set is kept in a parameters file (IFileArchive, see
// components/ParametersFile.h).
#pragma once

#include "components/FailureLog.h"
#include "components/FileStatistics.h"
#include "components/ParametersFile.h"
#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "step/StepImpl.h"

class CShadowSelective final : public CObject<CShadowSelective>,
                               public IObjectInfoImpl<CShadowSelective>,
                               public IShadow,
                               public InputParametersImpl<CShadowSelective, IParametersCreatable>,
                               public IStepImplAsynchronous<CShadowSelective, IStep, CTimer>,
                               public IUIPropertyPageSpecify,
                               public IFileArchiveImpl<CShadowSelective, IFileArchive> {
public:
    static constexpr wchar_t kObjectName[] = L"ShadowSelective";

    // Parameter indexes, in declaration order.
    enum Parameter : int32_t {
        kSourceRoot = 0,
        kDestinationRoot = 1,
        kCleanOlderFiles = 2,
        kCopyNewOnly = 3,
        kCopySubFolders = 4,
        kNbCopied = 5,
        kBytesCopied = 6,
        kNbDeleted = 7,
        kBytesDeleted = 8,
        kFirstEntry = 9, // "FolderOrFile1"
    };
    static constexpr int32_t kDeclaredEntries = 40;

    SHADOW_INTERFACE_TABLE(CShadowSelective, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IStep),
                           SHADOW_INTERFACE(IShadow), SHADOW_INTERFACE(IUIPropertyPageSpecify),
                           SHADOW_INTERFACE(IBindableObject), SHADOW_INTERFACE(IFileArchive),
                           SHADOW_INTERFACE(IDataPersist), SHADOW_INPUT_PARAMETERS,
                           SHADOW_INTERFACE_VIA(IParameters, IParametersCreatable),
                           SHADOW_INTERFACE(IParametersCreatable), SHADOW_INTERFACE(IReplicableObject))

    CShadowSelective() = default;

    HRESULT FinalConstruct() override;

    // IShadow. A list run takes its settings from the parameters only, so
    // the direct run with explicit settings is not offered (E_NOTIMPL). The
    // statistics are the totals of the last run, also while it runs.
    HRESULT Shadow(IString* source, IString* destination, short copyNewOnly, short subFolders, short clean,
                   IUnknown* display) override;
    HRESULT GetCopyStatistics(int32_t* files, double* bytes) override;
    HRESULT GetDeleteStatistics(int32_t* files, double* bytes) override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // The list run, on the worker thread.
    HRESULT Execute(CStopEvent* stop);

    // Test hook: how many polls TurnOff waits for the worker.
    using IStepImplAsynchronous::SetWaitLimit;

private:
    ~CShadowSelective() override = default;
    friend class CObject<CShadowSelective>;

    // The settings of one run.
    struct Run {
        IPtr<IString> sourceRoot, destinationRoot;
        int32_t clean = 0, copyNewOnly = 0, subFolders = 0;
        IPtr<IShadow> inner;                  // null when "Shadow" cannot be made
        IPtr<IUILineDisplayable> sink;        // may be null
        CStopEvent* stop = nullptr;
    };

    // One entry of the list: a folder through the inner step, anything else
    // as a file.
    void MirrorEntry(Run& run, std::wstring_view entry);
    // Runs the inner step on one folder and waits for it; adds its totals.
    void MirrorFolder(Run& run, IString* source, IString* destination);

    CFileStatistics m_CopyStatistics;
    CFileStatistics m_DeleteStatistics;
    FailureLog m_Failures{kObjectName};
};
