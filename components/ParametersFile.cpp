#include "components/ParametersFile.h"

#include <algorithm>
#include <memory>
#include <string>

#include "components/FailureLog.h"

namespace {

// What the document holds before the parameters: the declaration, the
// style-sheet instruction, and the root element they are saved into.
constexpr char kHeader[] = "<?xml version=\"1.0\"?>\n"
                           "<?xml-stylesheet href=\"generic.xsl\" type=\"text/xsl\"?>\n"
                           "<Parameters/>\n";

std::string Utf8(std::wstring_view text) {
    int length = 0;
    const std::unique_ptr<char[]> bytes(_IS2A(REFOf(text), &length));
    return bytes ? std::string(bytes.get(), static_cast<size_t>(length)) : std::string();
}

// The stream's reason for its last failure; empty when it gives none.
std::string StreamReason(IUnknown* stream) {
    IPtr<IStreamErrorText> errors = QueryAs<IStreamErrorText>(stream);
    IPtr<IString> text;
    if (!errors || errors->get_ErrorText(text.Out()) != S_OK) return {};
    const CREFString view(text.Get());
    return Utf8(
        std::wstring_view(view.m_pString ? view.m_pString : L"", static_cast<size_t>(std::max(view.m_Length, 0))));
}

// "file open err:\n<path>\n" on the display and in the event log, the
// stream's reason after it in the log.
HRESULT ReportOpenFailure(std::wstring_view path, IUnknown* stream, IUnknown* display, const wchar_t* title) {
    const std::wstring text = L"file open err:\n" + std::wstring(path) + L"\n";
    if (IPtr<IUILineDisplayable> sink = QueryAs<IUILineDisplayable>(display)) {
        IPtr<IString> heading = IPtr<IString>::Adopt(ISCreate(title));
        IPtr<IString> line = IPtr<IString>::Adopt(ISCreate(REFOf(text)));
        sink->DisplayLine(heading.Get(), line.Get(), LINE_ERROR);
    }
    FailureLog log(title);
    log.RecordLine(Utf8(text));
    if (const std::string reason = StreamReason(stream); !reason.empty()) log.RecordLine(reason);
    log.Flush();
    return E_FAIL;
}

} // namespace

std::wstring_view PARAMFILEName(std::wstring_view path) {
    const size_t slash = path.rfind(L'/');
    return slash == std::wstring_view::npos ? path : path.substr(slash + 1);
}

HRESULT PARAMFILESave(CParametersCore& parameters, std::wstring_view path, IUnknown* display, const wchar_t* title) {
    IPtr<IDataStream> stream = CreateHostObject<IDataStream>(L"XMLStream");
    IPtr<IFileArchive> file = stream.Query<IFileArchive>();
    if (!file) return ReportOpenFailure(path, nullptr, display, title);
    unsigned int written = 0;
    stream->Write(kHeader, sizeof kHeader - 1, &written);
    parameters.Params_SaveXML(stream.Get(), PARAMS_COMPACT);
    if (path.empty() || FAILED(file->put_Filename(ISMake(path).Get())) || FAILED(file->Save()))
        return ReportOpenFailure(path, stream.Get(), display, title);
    return S_OK;
}

IPtr<IXMLStream> PARAMFILERead(std::wstring_view path, IUnknown* display, const wchar_t* title) {
    IPtr<IXMLStream> document = CreateHostObject<IXMLStream>(L"XMLStream");
    IPtr<IFileArchive> file = document.Query<IFileArchive>();
    if (!file) {
        ReportOpenFailure(path, nullptr, display, title);
        return {};
    }
    if (path.empty() || FAILED(file->put_Filename(ISMake(path).Get())) || FAILED(file->Load())) {
        ReportOpenFailure(path, document.Get(), display, title);
        return {};
    }
    return document;
}

std::vector<IPtr<IString>> PARAMFILEElementNames(IXMLStream* document) {
    std::vector<IPtr<IString>> names;
    IPtr<IXMLStream> child;
    if (!document || FAILED(document->FirstChild(child.Out())) || !child) return names;
    do {
        IPtr<IString> name;
        if (SUCCEEDED(child->get_Name(name.Out())) && name) names.push_back(std::move(name));
    } while (SUCCEEDED(child->Next()));
    return names;
}
