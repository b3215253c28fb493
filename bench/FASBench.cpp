// Runs one operation of the host's "FASService" between local folders (or
// a URL as the server) and prints its time in milliseconds on stdout; the
// service's error lines go to stderr.
//
//   FASBench publish SERVER          write SERVER's scheme file
//   FASBench update SERVER CLIENT    update CLIENT from SERVER
#include <chrono>
#include <cstdio>
#include <string>

#include "host/base/HostObject.h"
#include "host/runtime/GlobalComponentCollection.h"
#include "host/text/Utf8.h"
#include "host/values/HostStrings.h"
#include "sdk/FileArchiveService.h"

namespace {

class ErrorLines final : public host::HostObject<IUILineDisplayable> {
public:
    HRESULT DisplayLine(IString* title, IString* text, uint32_t kind) override {
        if (kind == LINE_ERROR || kind == LINE_STATUS)
            std::fprintf(stderr, "%s: %s\n", host::ToUtf8(host::ToWide(title)).c_str(),
                         host::ToUtf8(host::ToWide(text)).c_str());
        return S_OK;
    }
};

template <class I>
IPtr<I> Make(const wchar_t* name) {
    IPtr<I> object;
    host::GlobalCollection()->CreateComponent(REFLiteral(name), &InterfaceInfo<I>::Id(), object.OutVoid());
    return object;
}

IPtr<IFileArchiveScheme> Side(const std::string& location) {
    const bool url = location.find("://") != std::string::npos && location.rfind("file://", 0) != 0;
    IPtr<IFileArchiveScheme> scheme = Make<IFileArchiveScheme>(url ? L"URLhttp" : L"URLFile");
    IPtr<IParametersCreatable> parameters = Make<IParametersCreatable>(L"ParametersCreatable");
    IPtr<IVariant> value = host::NewVariant();
    value->put_String(host::MakeString(host::FromUtf8(location)).Get());
    parameters->Add(host::MakeString(L"HOSTNAME").Get(), value.Get(), nullptr, 6);
    scheme->put_Parameters(parameters.Get());
    return scheme;
}

} // namespace

int main(int argc, char** argv) {
    const std::string action = argc > 1 ? argv[1] : "";
    if (!((action == "publish" && argc == 3) || (action == "update" && argc == 4))) {
        std::fprintf(stderr, "usage: FASBench publish SERVER | FASBench update SERVER CLIENT\n");
        return 2;
    }
    IPtr<IFASService> service = Make<IFASService>(L"FASService");
    IPtr<ErrorLines> lines = IPtr<ErrorLines>::Adopt(new ErrorLines);
    service->put_LineDisplay(lines.Get());
    IPtr<IFileArchiveScheme> server = Side(argv[2]);
    const auto start = std::chrono::steady_clock::now();
    HRESULT hr;
    if (action == "publish") {
        int32_t files = 0;
        hr = service->SaveSchemeFile(server.Get(), server.Get(), &files);
    } else {
        hr = service->Transfer(server.Get(), Side(argv[3]).Get(), FAS_UPDATE);
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    std::printf("%.0f\n", took.count());
    return hr == S_OK ? 0 : 1;
}
