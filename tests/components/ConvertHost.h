// The host of the conversion steps' tests: the real runtime (the module's
// stand-alone bootstrap), with chosen component names answered by recording
// fakes instead. The fakes live on the test's stack and are not counted.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "core/Helpers.h"
#include "module/Module.h"

#define CONVERT_NOT_COUNTED(I)                                                                 \
    HRESULT QueryInterface(const IID& iid, void** out) override {                              \
        if (iid != IID_IUnknown && iid != InterfaceInfo<I>::Id()) return E_NOINTERFACE;        \
        return *out = static_cast<I*>(this), S_OK;                                             \
    }                                                                                          \
    uint32_t AddRef() override { return 2; }                                                   \
    uint32_t Release() override { return 1; }

inline std::wstring TextOf(IUnknown* object) {
    IPtr<IString> text = QueryAs<IString>(object);
    CREFString view(text.Get());
    return std::wstring(view.m_pString ? view.m_pString : L"", static_cast<size_t>(view.m_Length));
}

// A stream's whole content.
inline std::string BytesOf(IUnknown* object) {
    IPtr<IDataStream> stream = QueryAs<IDataStream>(object);
    void* data = nullptr;
    unsigned long size = 0;
    if (!stream || FAILED(stream->GetStream(&data, &size)) || !data) return {};
    return std::string(static_cast<const char*>(data), size);
}

inline IPtr<IDataStream> StreamHolding(const std::string& bytes) {
    IPtr<IDataStream> stream = CreateHostObject<IDataStream>(L"DataStream");
    unsigned int written = 0;
    if (stream) stream->Write(bytes.data(), static_cast<unsigned int>(bytes.size()), &written);
    return stream;
}

// Installed as the module's host collection while it lives.
class RoutingCollection final : public IComponentCollection {
public:
    RoutingCollection() : m_real(IPtr<IComponentCollection>::Adopt(GLOBALComponents())) {
        InitializeModule(nullptr, this);
    }
    ~RoutingCollection() { InitializeModule(nullptr, m_real.Get()); }

    // `fake` answers `name` from now on; null makes the name unknown.
    void Answer(const wchar_t* name, IUnknown* fake) { m_fakes[name] = fake; }

    CONVERT_NOT_COUNTED(IComponentCollection)
    HRESULT get_Count(int32_t* count) override { return m_real->get_Count(count); }
    HRESULT get_Item(int32_t index, IUnknown** item) override { return m_real->get_Item(index, item); }
    HRESULT get_Index(IUnknown* key, int32_t* index) override { return m_real->get_Index(key, index); }
    HRESULT get_ItemName(int32_t index, IString** name) override { return m_real->get_ItemName(index, name); }
    HRESULT Rename(int32_t index, IString* name) override { return m_real->Rename(index, name); }
    HRESULT CollectionLock() override { return m_real->CollectionLock(); }
    HRESULT CollectionUnlock() override { return m_real->CollectionUnlock(); }
    HRESULT IsCollectionLocked() override { return m_real->IsCollectionLocked(); }
    HRESULT LoadModule(tagREFString module) override { return m_real->LoadModule(module); }
    HRESULT CreateComponent(tagREFString name, const IID* iid, void** out) override {
        const auto fake = m_fakes.find(std::wstring(name.m_pString, static_cast<size_t>(name.m_Length)));
        if (fake == m_fakes.end()) return m_real->CreateComponent(name, iid, out);
        *out = nullptr;
        return fake->second && iid ? fake->second->QueryInterface(*iid, out) : E_FAIL;
    }

private:
    IPtr<IComponentCollection> m_real;
    std::map<std::wstring, IUnknown*> m_fakes;
};

// A text transform that records its calls and works as the host's do on
// plain text: forward, one byte per character (the source's string when it
// answers one, else its 32-bit characters); back, each byte a character
// (with TEXT_WIDE also put into the target's changeable string).
class RecordingTextTransform final : public IStreamTransform {
public:
    struct Call {
        std::string operation;
        int32_t options;
        std::wstring sourceText; // what the source answered as a string
        IDataStream* source;     // compared only: the source may be gone
        IDataStream* target;
    };
    std::vector<Call> calls;

    CONVERT_NOT_COUNTED(IStreamTransform)
    HRESULT Transform(IDataStream* source, IDataStream* target, int32_t options) override {
        std::wstring text = TextOf(source);
        calls.push_back({"Transform", options, text, source, target});
        if (!QueryAs<IString>(source)) {
            const std::string bytes = BytesOf(source);
            text.assign(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
        }
        const std::string narrow(text.begin(), text.end());
        unsigned int written = 0;
        return target->Write(narrow.data(), static_cast<unsigned int>(narrow.size()), &written);
    }
    HRESULT TransformBack(IDataStream* source, IDataStream* target, int32_t options) override {
        calls.push_back({"TransformBack", options, TextOf(source), source, target});
        const std::string bytes = BytesOf(source);
        const std::wstring text(bytes.begin(), bytes.end());
        if (IPtr<ICreatableString> string = QueryAs<IString>(target).Query<ICreatableString>())
            string->SetString(text.data(), static_cast<int32_t>(text.size()));
        unsigned int written = 0;
        return target->Write(text.data(), static_cast<unsigned int>(text.size() * sizeof(wchar_t)), &written);
    }
};

// Binds `display` as the input 0 of `step`.
inline void BindDisplay(IUnknown* step, IUILineDisplayable* display) {
    IPtr<ISuperCollection> sources = IPtr<ISuperCollection>::Adopt(CREFString::CreateCollection());
    IPtr<IString> name = IPtr<IString>::Adopt(ISCreate(L"Console"));
    sources->Add(name.Get(), display, nullptr, 0);
    IPtr<IUnknown> input;
    ASSERT_EQ(S_OK, QueryAs<IInputParameters>(step)->get_Item(0, input.Out()));
    input.Query<IInputParameter>()->put_SourceComponent(name.Get());
    QueryAs<IBindableObject>(step)->Bind(sources.Get(), nullptr);
}

// A new instance of the component registered as `name`, asked for I.
template <class I = IParameters>
IPtr<I> CreateRegistered(const std::wstring& name) {
    CreatorFunction creator = nullptr;
    IPtr<I> component;
    IID iid = IPtr<I>::Id();
    if (CreateFunction(static_cast<int32_t>(name.size()), name.c_str(), &creator) == S_OK)
        creator(nullptr, &iid, component.OutVoid());
    return component;
}
