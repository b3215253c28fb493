// Helpers shared by every test of the host runtime.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host/runtime/GlobalComponentCollection.h"
#include "host/streams/StreamErrorText.h"
#include "host/values/HostStrings.h"
#include "support/TempFolder.h"

namespace hosttest {

// A component made by name through the global component collection, as the
// module makes its host services.
template <class I>
IPtr<I> Make(const wchar_t* component) {
    IPtr<I> object;
    EXPECT_EQ(host::GlobalCollection()->CreateComponent(REFLiteral(component), &InterfaceInfo<I>::Id(),
                                                        object.OutVoid()),
              S_OK)
        << host::ToUtf8(component);
    return object;
}

inline IPtr<IParametersCreatable> NewParameters() {
    return Make<IParametersCreatable>(L"ParametersCreatable");
}

inline tagREFString View(const std::wstring& text) {
    return tagREFString{static_cast<int32_t>(text.size()), const_cast<wchar_t*>(text.data())};
}

inline IPtr<IString> Str(const std::wstring& text) { return host::MakeString(text); }

inline IPtr<IVariant> Int(int32_t value) {
    IPtr<IVariant> v = host::NewVariant();
    v->put_Integer(value);
    return v;
}

inline IPtr<IVariant> Real(double value) {
    IPtr<IVariant> v = host::NewVariant();
    v->put_Double(value);
    return v;
}

inline IPtr<IVariant> Text(const std::wstring& value) {
    IPtr<IVariant> v = host::NewVariant();
    v->put_String(Str(value).Get());
    return v;
}

// The names of the items in order ("<null>" for an item without one).
inline std::vector<std::wstring> Names(INamedCollection* collection) {
    std::vector<std::wstring> names;
    int32_t count = 0;
    collection->get_Count(&count);
    for (int32_t i = 0; i < count; ++i) {
        IPtr<IString> name;
        names.push_back(SUCCEEDED(collection->get_ItemName(i, name.Out())) ? host::ToWide(name.Get()) : L"<null>");
    }
    return names;
}

// The integer a parameter holds, or -999 when it holds none.
inline int32_t IntAt(IParameters* parameters, int32_t index) {
    IPtr<IVariant> value;
    int32_t number = -999;
    if (SUCCEEDED(parameters->get_ItemVariant(index, value.Out())) && value->IsNumber()) value->get_Integer(&number);
    return number;
}

// The text of a string, or of a variant holding one, or "<none>".
inline std::wstring TextOf(IUnknown* value) {
    if (IPtr<IString> s = QueryAs<IString>(value)) return host::ToWide(s.Get());
    if (IPtr<IVariant> v = QueryAs<IVariant>(value); v && v->IsString()) {
        IPtr<IString> s;
        v->get_String(s.Out());
        return host::ToWide(s.Get());
    }
    return L"<none>";
}

// The content of a data stream, as GetStream gives it.
inline std::string Content(IUnknown* stream) {
    IPtr<IDataStream> data = QueryAs<IDataStream>(stream);
    void* bytes = nullptr;
    unsigned long size = 0;
    if (!data || FAILED(data->GetStream(&bytes, &size))) return "<no content>";
    return std::string(static_cast<const char*>(bytes), size);
}

inline HRESULT WriteBytes(IUnknown* stream, const std::string& bytes) {
    IPtr<IDataStream> data = QueryAs<IDataStream>(stream);
    unsigned int written = 0;
    return data->Write(bytes.data(), static_cast<unsigned int>(bytes.size()), &written);
}

// A new stream of the given component holding the saved text of `saved`, so
// that nothing but the text carries over.
inline IPtr<IDataStream> Reparsed(const wchar_t* component, IUnknown* saved) {
    IPtr<IDataStream> copy = Make<IDataStream>(component);
    EXPECT_EQ(WriteBytes(copy.Get(), Content(saved)), S_OK);
    return copy;
}

inline std::string ErrorText(IUnknown* stream) { return host::ToUtf8(host::StreamErrorText(stream)); }

inline void SetFilename(IUnknown* stream, const std::string& path) {
    IPtr<IFileArchive> archive = QueryAs<IFileArchive>(stream);
    ASSERT_TRUE(archive);
    ASSERT_EQ(archive->put_Filename(host::MakeString(host::FromUtf8(path)).Get()), S_OK);
}

using TempDir = testsupport::TempFolder;

inline void WriteFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

// Sets or unsets an environment variable for the life of the object.
class ScopedEnv final {
public:
    ScopedEnv(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name)) m_old = old;
        if (value) setenv(name, value, 1);
        else unsetenv(name);
    }
    ~ScopedEnv() {
        if (m_old) setenv(m_name.c_str(), m_old->c_str(), 1);
        else unsetenv(m_name.c_str());
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string m_name;
    std::optional<std::string> m_old;
};

} // namespace hosttest
