#include "host/transform/TextStreams.h"

#include <climits>
#include <cstring>

#include "host/runtime/EventLogLine.h"
#include "host/text/Utf8.h"

namespace host {

namespace {

std::optional<std::wstring_view> StringOf(IString* text, std::string& reason) {
    tagREFString view{0, nullptr};
    if (FAILED(text->GetString(&view)) || view.m_Length < 0 || (view.m_Length > 0 && !view.m_pString)) {
        reason = "the source's string gives no text";
        return std::nullopt;
    }
    return view.m_Length > 0 ? std::wstring_view(view.m_pString, static_cast<size_t>(view.m_Length))
                             : std::wstring_view();
}

std::optional<std::string_view> ContentOf(IDataStream* source, std::string& reason) {
    void* data = nullptr;
    unsigned long size = 0;
    if (FAILED(source->GetStream(&data, &size)) || (size > 0 && !data)) {
        reason = "the source stream gives no content";
        return std::nullopt;
    }
    return size > 0 ? std::string_view(static_cast<const char*>(data), size) : std::string_view();
}

} // namespace

std::optional<std::wstring> ReadSourceText(IDataStream* source, std::string& reason) {
    if (IPtr<IString> text = QueryAs<IString>(source)) {
        std::optional<std::wstring_view> view = StringOf(text.Get(), reason);
        if (!view) return std::nullopt;
        return std::wstring(*view);
    }
    std::optional<std::string_view> content = ContentOf(source, reason);
    if (!content) return std::nullopt;
    if (content->size() % sizeof(wchar_t) != 0) {
        reason = "the source's " + std::to_string(content->size()) +
                 " bytes are no whole number of 32-bit characters";
        return std::nullopt;
    }
    std::wstring text(content->size() / sizeof(wchar_t), L'\0');
    if (!text.empty()) std::memcpy(text.data(), content->data(), content->size());
    return text;
}

std::optional<std::string> ReadSourceBytes(IDataStream* source, std::string& reason) {
    if (IPtr<IString> text = QueryAs<IString>(source)) {
        std::optional<std::wstring_view> view = StringOf(text.Get(), reason);
        if (!view) return std::nullopt;
        std::string bytes;
        bytes.reserve(view->size());
        for (size_t i = 0; i < view->size(); ++i) {
            const uint32_t c = static_cast<uint32_t>((*view)[i]);
            if (c > 0xFF) {
                reason = "the source's character " + std::to_string(i) + " is above 0xFF and no byte";
                return std::nullopt;
            }
            bytes += static_cast<char>(c);
        }
        return bytes;
    }
    std::optional<std::string_view> content = ContentOf(source, reason);
    if (!content) return std::nullopt;
    return std::string(*content);
}

bool WriteTargetBytes(IDataStream* target, std::string_view bytes, std::string& reason) {
    if (bytes.size() > UINT_MAX) {
        reason = "the result of " + std::to_string(bytes.size()) + " bytes is too large for one stream";
        return false;
    }
    if (bytes.empty()) return true;
    unsigned int written = 0;
    if (FAILED(target->Write(bytes.data(), static_cast<unsigned int>(bytes.size()), &written)) ||
        written != bytes.size()) {
        reason = "the target stream refused the result of " + std::to_string(bytes.size()) + " bytes";
        return false;
    }
    return true;
}

bool WriteTargetText(IDataStream* target, std::wstring_view text, bool wide, std::string& reason) {
    if (!wide) return WriteTargetBytes(target, ToUtf8(text), reason);
    if (text.size() > INT32_MAX) {
        reason = "the result of " + std::to_string(text.size()) + " characters is too long for one string";
        return false;
    }
    IPtr<ICreatableString> string;
    if (IPtr<IString> answered = QueryAs<IString>(target)) string = answered.Query<ICreatableString>();
    const std::string_view bytes(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    if (!WriteTargetBytes(target, bytes, reason)) return false;
    if (string && FAILED(string->SetString(text.data(), static_cast<int32_t>(text.size())))) {
        reason = "the target's string refused the result";
        return false;
    }
    return true;
}

HRESULT ReportTransformFailure(const wchar_t* component, const std::string& reason) {
    WriteEventLogError(component, FromUtf8(reason));
    return E_FAIL;
}

} // namespace host
