// CShadowUpload, the "ShadowUpload" step: sends the files of the listing
// bound to "Source" to the location bound to "Destination" through the
// destination's transfer scheme (IFileArchiveScheme::Transfer), one file
// after the other, with a line per file on the display bound to
// "UILineDisplayable", and with "DeleteUploadedFiles" set (the default)
// removes each file sent from the source through the source's own scheme.
//
// The source is a listing (ISuperCollection of entries answering
// IFileArchive) or a single file archive (one entry). A file's content is
// the entry's own IDataStream, else a host "File" loaded from the entry's
// path. A file that cannot be read or sent gets an "Upload Error" line and
// the run goes on; the run's result is that of the last file tried. A run
// always goes through the whole list: the stop flag is not read, so a
// TurnOff waits for the end of the run.
//
// IShadow: a run takes its settings from its inputs, so the direct run with
// explicit settings is not offered (E_NOTIMPL). GetCopyStatistics answers
// the files sent and their bytes, GetDeleteStatistics the files deleted
// from the source and their bytes, both of the last run (also while it
// runs).
#pragma once

#include "components/FileStatistics.h"
#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "step/StepImpl.h"

class CShadowUpload final : public CObject<CShadowUpload>,
                            public IObjectInfoImpl<CShadowUpload>,
                            public IShadow,
                            public InputParametersImpl<CShadowUpload, IParameters>,
                            public IStepImplAsynchronous<CShadowUpload, IStep, CTimer>,
                            public IUIPropertyPageSpecify {
public:
    static constexpr wchar_t kObjectName[] = L"ShadowUpload";

    enum Input : int32_t { kSource = 0, kDestination = 1, kDisplay = 2 };
    enum Parameter : int32_t { kDeleteUploadedFiles = 0 };

    SHADOW_INTERFACE_TABLE(CShadowUpload, SHADOW_INTERFACE(IObjectInfo), SHADOW_INTERFACE(IStep),
                           SHADOW_INTERFACE(IShadow), SHADOW_INTERFACE(IUIPropertyPageSpecify),
                           SHADOW_INTERFACE(IBindableObject), SHADOW_INTERFACE(IDataPersist),
                           SHADOW_INPUT_PARAMETERS, SHADOW_INTERFACE(IParameters),
                           SHADOW_INTERFACE(IReplicableObject))

    CShadowUpload() = default;

    HRESULT FinalConstruct() override;

    // IShadow
    HRESULT Shadow(IString* source, IString* destination, short copyNewOnly, short subFolders, short clean,
                   IUnknown* display) override;
    HRESULT GetCopyStatistics(int32_t* files, double* bytes) override;
    HRESULT GetDeleteStatistics(int32_t* files, double* bytes) override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // The upload run, on the worker thread. 0x80070057 without a
    // destination listing or a usable source; otherwise the result of the
    // last transfer (0 when there was none).
    HRESULT Execute(CStopEvent* stop);

    using IStepImplAsynchronous::SetWaitLimit;

private:
    ~CShadowUpload() override = default;
    friend class CObject<CShadowUpload>;

    CFileStatistics m_SentStatistics;
    CFileStatistics m_DeletedStatistics;
};
