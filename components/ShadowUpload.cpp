#include "components/ShadowUpload.h"

#include <string>
#include <string_view>

#include "core/Helpers.h"
#include "sdk/Transfer.h"

namespace {

constexpr wchar_t kGetFileError[] = L"Get File Error";
constexpr wchar_t kUploading[] = L"Uploading";
constexpr wchar_t kUploadError[] = L"Upload Error";
constexpr wchar_t kUploaded[] = L"Uploaded";

// The text after the last "/" (all of it when there is none).
std::wstring_view AfterLastSlash(std::wstring_view text) {
    const size_t slash = text.rfind(L'/');
    return slash == std::wstring_view::npos ? text : text.substr(slash + 1);
}

void Show(IUILineDisplayable* sink, const wchar_t* title, std::wstring_view text, uint32_t kind) {
    if (sink) sink->DisplayLine(ISMake(title).Get(), ISMake(text).Get(), kind);
}

std::wstring TextOf(IString* text) { return std::wstring(ISView(text)); }

// The content of an entry: its own stream, else a host "File" loaded from
// its path. Null (and `status` the failure) when neither can be had.
IPtr<IDataStream> ContentOf(IFileArchive* entry, IString* path, HRESULT& status) {
    if (IPtr<IDataStream> own = QueryAs<IDataStream>(entry)) return own;
    IPtr<IDataStream> file = CreateHostObject<IDataStream>(L"File");
    IPtr<IFileArchive> archive = QueryAs<IFileArchive>(file.Get());
    status = E_FAIL;
    if (!archive) return {};
    status = archive->put_Filename(path);
    if (SUCCEEDED(status)) status = archive->Load();
    if (FAILED(status)) return {};
    return file;
}

// The byte count of a stream's content (0 when it cannot tell).
double SizeOf(IDataStream* data) {
    unsigned long end = 0;
    if (FAILED(data->Seek(0, 2, &end))) end = 0;
    data->Seek(0, 0, nullptr);
    return static_cast<double>(end);
}

} // namespace

HRESULT CShadowUpload::FinalConstruct() {
    DeclareInput(L"Source", IID_IFileNameCollection);
    DeclareInput(L"Destination", IID_IFileNameCollection);
    DeclareInput(L"UILineDisplayable", IID_IUILineDisplayable);
    AddParameterRows({{L"DeleteUploadedFiles", false, 1, 0x13}});
    return S_OK;
}

HRESULT CShadowUpload::Shadow(IString*, IString*, short, short, short, IUnknown*) { return E_NOTIMPL; }

HRESULT CShadowUpload::GetCopyStatistics(int32_t* files, double* bytes) {
    return m_SentStatistics.Report(files, bytes);
}

HRESULT CShadowUpload::GetDeleteStatistics(int32_t* files, double* bytes) {
    return m_DeletedStatistics.Report(files, bytes);
}

HRESULT CShadowUpload::GetPages(int32_t, INamedCollection** pages, IUnknown**) {
    return OBJECTPropertyPages(pages, {L"UIPropPages.UIInputParametersPropPage", L"UIPropPages.UIParametersPropPage",
                                       L"UIPropPages.UIFileArchivePropPage"});
}

HRESULT CShadowUpload::Execute(CStopEvent*) {
    // 1. The destination listing.
    IPtr<IUnknown> destinationInput = InputValue(kDestination);
    IPtr<IFileNameCollection> destination = QueryAs<IFileNameCollection>(destinationInput.Get());
    if (!destination) return E_INVALIDARG;
    // 2.
    const int32_t deleteUploaded = ParameterInteger(kDeleteUploadedFiles);
    // 3. The sink: a renderable entity stands for the object it draws.
    IPtr<IUnknown> display = InputValue(kDisplay);
    if (IPtr<IRenderableObjectEntity> entity = QueryAs<IRenderableObjectEntity>(display.Get())) {
        IPtr<IUnknown> object;
        entity->get_Object(object.Out());
        display = object;
    }
    IPtr<IUILineDisplayable> sink = QueryAs<IUILineDisplayable>(display.Get());
    // 4. The source: its listing face when it has one (a single file
    // archive bound to the input may have none), then its entries.
    IPtr<IUnknown> sourceInput = InputValue(kSource);
    IPtr<IUnknown> source(sourceInput);
    if (IPtr<IFileNameCollection> listing = QueryAs<IFileNameCollection>(sourceInput.Get()))
        source.Reset(listing.Get());
    IPtr<ISuperCollection> entries = QueryAs<ISuperCollection>(source.Get());
    IPtr<IFileArchive> single = entries ? IPtr<IFileArchive>() : QueryAs<IFileArchive>(source.Get());
    int32_t count = 0;
    if (entries) {
        if (FAILED(entries->get_Count(&count))) count = 0;
    } else if (single) {
        count = 1;
    } else {
        return E_INVALIDARG;
    }
    IPtr<IUIRefreshableObject> refreshable = QueryAs<IUIRefreshableObject>(source.Get());
    m_SentStatistics.Clear();
    m_DeletedStatistics.Clear();

    // 5, 6. The stop flag is not read: a run goes through the whole list.
    HRESULT last = S_OK;
    for (int32_t index = 0; index < count;) {
        IPtr<IFileArchive> entry = single;
        if (entries) {
            IPtr<IUnknown> item;
            if (SUCCEEDED(entries->get_Item(index, item.Out()))) entry = QueryAs<IFileArchive>(item.Get());
        }
        if (!entry) {
            IPtr<IString> name;
            if (entries) entries->get_ItemName(index, name.Out());
            Show(sink.Get(), kGetFileError, ISView(name.Get()), LINE_UPLOAD_ERROR);
            ++index;
            continue;
        }
        IPtr<IString> path;
        entry->get_Filename(path.Out());
        const std::wstring fullPath = TextOf(path.Get());
        const std::wstring name(AfterLastSlash(fullPath));
        Show(sink.Get(), kUploading, name, LINE_PROGRESS);

        IPtr<IFileArchiveScheme> scheme = QueryAs<IFileArchiveScheme>(destination.Get());
        HRESULT status = E_NOINTERFACE;
        IPtr<IDataStream> data = scheme ? ContentOf(entry.Get(), path.Get(), status) : IPtr<IDataStream>();
        double bytes = 0;
        if (data) {
            bytes = SizeOf(data.Get());
            status = scheme->Transfer(ISMake(name).Get(), data.Get());
        }
        data.Release(); // a mapped file is let go before its file is deleted
        last = status;
        if (FAILED(status)) {
            Show(sink.Get(), kUploadError, name, LINE_UPLOAD_ERROR);
            ++index;
            continue;
        }
        Show(sink.Get(), kUploaded, name, LINE_PROGRESS);
        m_SentStatistics.Add(bytes);
        bool deleted = false;
        if (deleteUploaded) {
            if (IPtr<IFileArchiveScheme> own = QueryAs<IFileArchiveScheme>(source.Get())) {
                deleted = SUCCEEDED(own->Delete(path.Get())) || SUCCEEDED(own->Delete(ISMake(name).Get()));
            }
        }
        if (deleted) {
            // The next entry has moved into this place.
            m_DeletedStatistics.Add(bytes);
            --count;
            if (refreshable) refreshable->Refresh(0);
        } else {
            ++index;
        }
    }
    // 7.
    if (SUCCEEDED(last)) Show(sink.Get(), kUploaded, L"", LINE_PROGRESS);
    // 8.
    if (IPtr<IUIManager> manager = QueryAs<IUIManager>(source.Get())) manager->Update(0);
    return last;
}
