// CShadowList, the "ShadowList" step: keeps a client side in step with a
// server side through the host's file-archive-scheme service ("FASService",
// IFASService). The component moves no files itself: it turns its two
// location texts into transfer schemes, hands them with the scheme file's
// name and a mode to the service, and forwards stop and running queries to
// it. It also offers its actions to the user as verbs (GetVerbs, DoAction).
//
//   "Source(Server)"       the server's location (URL or path)
//   "Destination(Client)"  the client's location
//   "FASFile"              the scheme file's name, relative to a location
//   "RunAction"            Update|UpdateAll|Install|InstallAll|Commit|CommitAll
//   "SrcSpreadSheet"       output: files listed by CreateFAS_Src, -1 failed
//   "DestSpreadSheet"      output: files listed by CreateFAS_Dest, -1 failed
//   "SrcLogin" ... "DestPort"  kept with the component for the host's pages
//
// Verbs (DoAction), each with the scheme file's name and the bound display
// handed to the service first; the result is the service's:
//   120-123  Update .. InstallAll: Transfer(source, destination, code - 120)
//   101/102  CreateFAS_Src/_Dest: the side's scheme file written through
//            the host's "UIUtils" (CreateSchemeFile); the number of files it
//            lists, or -1 when it failed, goes to "SrcSpreadSheet" or
//            "DestSpreadSheet"
//   103-106  SaveFAS_<described>To<target>: SaveSchemeFile(described, target)
//   110      LoadFAS: LoadSchemeFile(source, destination), which changes
//            nothing
//   111      (no verb) the folder of the active workspace's file becomes the
//            client side when "Destination(Client)" holds no location yet
//            (S_OK); a location already there is kept (S_FALSE); no
//            workspace file: E_FAIL
//   others   ("Edit", "Run", "Commit", "CommitAll" included) come back
//            unchanged, for the host's own default
//
// The service is made last in FinalConstruct and kept until FinalRelease,
// which stops it and takes its line display away first. A host without
// "FASService" still gets a working component: the service is null, every
// operation that needs it writes "Cannot create FASService" to the bound
// line display and to "EventLogGlobal" and changes nothing (Execute returns
// 0, DoAction E_FAIL), TurnOff answers S_OK and IsRunning false.
//
// Threads: Execute and DoAction run on the caller's thread; TurnOff and
// IsRunning may come from another thread meanwhile. The service pointer is
// written only by FinalConstruct and FinalRelease, when no other call can
// run, so it is read without a lock; the service itself is made for calls
// from several threads.
#pragma once

#include "module/Object.h"
#include "parameters/InputParametersImpl.h"
#include "sdk/FileArchiveService.h"
#include "step/StepImpl.h"

class CShadowList final : public CObject<CShadowList>,
                          public IObjectInfoImpl<CShadowList>,
                          public InputParametersImpl<CShadowList, IParameters>,
                          public IStepImplSynchronous<CShadowList, IStep, CTimer>,
                          public IUIVerbCollectionSpecify,
                          public IUIPropertyPageSpecify {
public:
    static constexpr wchar_t kObjectName[] = L"ShadowList";

    // Parameter indexes, in declaration order.
    enum Parameter : int32_t {
        kSource = 0,
        kDestination = 1,
        kFASFile = 2,
        kRunAction = 3,
        kSrcSpreadSheet = 4,
        kDestSpreadSheet = 5,
        kSrcLogin = 6,
        kSrcPassword = 7,
        kSrcPort = 8,
        kDestLogin = 9,
        kDestPassword = 10,
        kDestPort = 11,
    };

    // The action codes of the verbs.
    enum Action : int32_t {
        kActionSeparator = 2,
        kActionEdit = 3,
        kActionRun = 8,
        kActionCreateSrc = 101,
        kActionCreateDest = 102,
        kActionSaveSrcToSrc = 103,
        kActionSaveSrcToDest = 104,
        kActionSaveDestToDest = 105,
        kActionSaveDestToSrc = 106,
        kActionLoad = 110,
        kActionWorkspace = 111,
        // Update .. InstallAll: 120 plus the service's transfer mode.
        kActionUpdate = 120,
        kActionUpdateAll = 121,
        kActionInstall = 122,
        kActionInstallAll = 123,
        kActionCommit = 130,
        kActionCommitAll = 131,
    };

    SHADOW_INTERFACE_TABLE(CShadowList, SHADOW_INTERFACE(IBindableObject), SHADOW_INTERFACE(IObjectInfo),
                           SHADOW_INTERFACE(IStep), SHADOW_INTERFACE(IDataPersist),
                           SHADOW_INTERFACE(IUIPropertyPageSpecify), SHADOW_INTERFACE(IUIVerbCollectionSpecify),
                           SHADOW_INTERFACE(IParameters), SHADOW_INPUT_PARAMETERS,
                           SHADOW_INTERFACE(IReplicableObject))

    CShadowList() = default;

    HRESULT FinalConstruct() override;
    void FinalRelease() override;

    // IUIPropertyPageSpecify
    HRESULT GetPages(int32_t, INamedCollection** pages, IUnknown**) override;

    // IUIVerbCollectionSpecify. GetVerbs: E_POINTER for a null result,
    // E_FAIL (null result) when the host makes no "UIVerbCollection".
    HRESULT GetVerbs(int32_t reserved, IUnknown* context, IUIVerbCollection** verbs) override;
    HRESULT DoAction(int32_t code, IUnknown* context) override;

    // IStep: the service's state, not the step template's.
    HRESULT TurnOff() override;
    bool IsRunning() override;

    // IBindableObject: the component itself stands for its inputs.
    HRESULT Bind(INamedCollection* components, IUnknown*) override;

    // A location as a transfer scheme: an object that already is a scheme
    // is taken as it is; a text names a location ("http://" and "ftp://"
    // through "URLhttp", anything else through "URLFile"; empty: the default
    // download URL), given to the new scheme as its "HOSTNAME". E_FAIL and a
    // null result when no scheme can be made.
    HRESULT CreateScheme(IUnknown* location, IFileArchiveScheme** scheme);
    // The same for the value of parameter `index`.
    HRESULT CreateScheme(int32_t index, IFileArchiveScheme** scheme);

    // The step's work, on the caller's thread; always 0.
    HRESULT Execute(CStopEvent* stop);

private:
    ~CShadowList() override = default;
    friend class CObject<CShadowList>;

    // The line display bound to input 0, or null.
    IPtr<IUILineDisplayable> Display();
    // The service, or null after "Cannot create FASService" was reported.
    IFASService* Service();
    // Hands the scheme file's name and the display to the service.
    void PrepareService(IFASService* service);
    // Both sides as schemes, made from parameters 0 and 1. A side that
    // cannot be made stays null; the service refuses it.
    struct Sides {
        IPtr<IFileArchiveScheme> source, destination;
    };
    Sides MakeSides();
    // 101/102: the side's scheme file through the host's UI utilities.
    HRESULT CreateSchemeFile(int32_t code);
    // 103-106: one side's scheme file saved to a side.
    HRESULT SaveSchemeFile(int32_t code);
    // 111: the client side taken from the active workspace.
    HRESULT TakeWorkspaceFolder();

    IPtr<IFASService> m_Service;
};
