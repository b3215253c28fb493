#include "support/StreamProbe.h"

#include <cwchar>

#include "host/base/ComponentRegistry.h"
#include "host/values/HostStrings.h"

namespace streamtest {

namespace {

const wchar_t kComponent[] = L"StreamProbe";

HRESULT CreateStreamProbe(const IID* iid, void** out) { return host::CreateHostComponent<StreamProbe>(iid, out); }

// Made by name when a stream recreates a saved probe.
const bool kRegistered = (host::AddHostComponentForTesting({kComponent, &CreateStreamProbe}), true);

std::wstring Name(IXMLStream* element) {
    IPtr<IString> name;
    element->get_Name(name.Out());
    return host::ToWide(name.Get());
}

std::wstring TextOf(IXMLStream* element) {
    IPtr<IString> text;
    element->get_Text(text.Out());
    return host::ToWide(text.Get());
}

} // namespace

HRESULT StreamProbe::GetName(int32_t, tagREFString* name) {
    if (!name) return E_POINTER;
    *name = REFLiteral(kComponent);
    return S_OK;
}

HRESULT StreamProbe::Save(IDataStream* stream, int32_t) {
    if (label == kRefusingLabel) return E_FAIL;
    if (IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream)) {
        xml->WriteElement(REFLiteral(L"Label"), host::MakeString(label).Get());
        xml->WriteElement(REFLiteral(L"Number"), host::MakeString(std::to_wstring(number)).Get());
        if (child) {
            if (FAILED(xml->OpenObjectElement(child.Get()))) return E_FAIL;
            HRESULT hr = QueryAs<IDataPersist>(child.Get())->Save(stream, 0);
            xml->CloseElement();
            return hr;
        }
        return S_OK;
    }
    if (IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream)) {
        IPtr<IVariant> value = host::NewVariant();
        value->put_String(host::MakeString(label).Get());
        folder->WriteValue(REFLiteral(L"Label"), value.Get());
        value->put_Integer(number);
        folder->WriteValue(REFLiteral(L"Number"), value.Get());
        if (child) return folder->WriteObject(REFLiteral(L"Child"), child.Get());
        return S_OK;
    }
    return E_NOTIMPL;
}

HRESULT StreamProbe::Load(IDataStream* stream, int32_t) {
    if (IPtr<IXMLStream> xml = QueryAs<IXMLStream>(stream)) {
        loadedFrom = L"xml";
        IPtr<IXMLStream> element;
        if (FAILED(xml->FirstChild(element.Out()))) return S_OK;
        do {
            const std::wstring name = Name(element.Get());
            if (name == L"Label") label = TextOf(element.Get());
            else if (name == L"Number") number = static_cast<int32_t>(std::wcstol(TextOf(element.Get()).c_str(), nullptr, 10));
            else if (FAILED(element->CreateObject(child.Out()))) return E_FAIL;
        } while (SUCCEEDED(element->Next()));
        return S_OK;
    }
    if (IPtr<IFolderStream> folder = QueryAs<IFolderStream>(stream)) {
        loadedFrom = L"folder";
        IPtr<IVariant> value;
        if (SUCCEEDED(folder->ReadValue(REFLiteral(L"Label"), value.Out()))) {
            IPtr<IString> text;
            value->get_String(text.Out());
            label = host::ToWide(text.Get());
        }
        if (SUCCEEDED(folder->ReadValue(REFLiteral(L"Number"), value.Out()))) value->get_Integer(&number);
        folder->ReadObject(REFLiteral(L"Child"), child.Out());
        return S_OK;
    }
    return E_NOTIMPL;
}

IPtr<IUnknown> NewProbe(std::wstring label, int32_t number, IUnknown* child) {
    IPtr<IUnknown> probe;
    CreateStreamProbe(&IID_IUnknown, probe.OutVoid());
    StreamProbe* p = AsProbe(probe.Get());
    p->label = std::move(label);
    p->number = number;
    p->child.Reset(child);
    return probe;
}

StreamProbe* AsProbe(IUnknown* object) { return dynamic_cast<StreamProbe*>(object); }

} // namespace streamtest
