// "Variant": the host's value holder (empty, integer, double, string or
// object).
#pragma once

#include <mutex>

#include "host/base/HostObject.h"

namespace host {

// Every operation takes the variant's own mutex, so one thread may read while
// another replaces the value. A string variant converts to a number by
// parsing the text as a decimal number (leading blanks skipped, the longest
// valid prefix taken); text without such a prefix gives 0 and E_FAIL.
// Doubles are truncated toward zero to integers and clamped to the 32-bit
// range; NaN gives 0.
class Variant final : public HostObject<IVariant> {
public:
    Variant() = default;

    int32_t get_Type(int32_t* type) override;
    bool IsNumber() override;
    HRESULT get_Integer(int32_t* value) override;
    HRESULT get_Double(double* value) override;
    bool IsString() override;
    HRESULT get_String(IString** value) override;
    bool IsObject() override;
    HRESULT get_Object(IUnknown** value) override;
    HRESULT put_Integer(int32_t value) override;
    HRESULT put_Double(double value) override;
    HRESULT put_String(IString* value) override;
    HRESULT put_Unknown(IUnknown* value) override;
    HRESULT Clear() override;

private:
    // Replaces the held value; the old references are released after the
    // mutex is left, so that their teardown never runs under it.
    void Assign(VariantType type, int32_t integer, double real, IPtr<IString> text, IPtr<IUnknown> object);

    std::mutex m_mutex;
    VariantType m_type = VARIANT_EMPTY;
    int32_t m_integer = 0;
    double m_double = 0.0;
    IPtr<IString> m_string;
    IPtr<IUnknown> m_object;
};

HRESULT CreateVariant(const IID* iid, void** out);

} // namespace host
