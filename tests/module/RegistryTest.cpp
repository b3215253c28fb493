// Looking components up by name.
#include <gtest/gtest.h>

#include "module/Module.h"
#include "module/RegistryRow.h"
#include "ProbeComponent.h"

namespace {

HRESULT Sentinel(void*, IID*, void**) { return E_NOTIMPL; }

struct NameCase {
    const wchar_t* text;
    int32_t length;
    const char* why;
};

TEST(Registry, UnknownMalformedOrNullNamesFailAndLeaveTheSlot) {
    const NameCase cases[] = {
        {L"shadow", 6, "lower case"},
        {L"SHADOW", 6, "upper case"},
        {L"Shado", 5, "shorter than any name"},
        {L"Shadow", 5, "length cuts the name"},
        {L"Shadow", 7, "length runs past the name"},
        {L" Shadow", 7, "leading space"},
        {L"Shadow ", 7, "trailing space"},
        {L"shadowlist", 10, "lower case of a second name"},
        {L"Unknown", 7, "not registered"},
        {L"", 0, "empty"},
        {L"Shadow", 0, "zero length"},
        {L"Shadow", -6, "negative length"},
        {nullptr, 6, "null text"},
    };
    for (const NameCase& c : cases) {
        CreatorFunction slot = &Sentinel;
        EXPECT_EQ(CreateFunction(c.length, c.text, &slot), E_FAIL) << c.why;
        EXPECT_EQ(slot, &Sentinel) << c.why;
    }
    EXPECT_EQ(CreateFunction(6, L"Shadow", nullptr), E_POINTER);
}

TEST(Registry, RowMatchesExactlyItsOwnName) {
    const tagREFString& name = IObjectInfoImpl<CProbe>::m_ObjectName;
    const NameCase misses[] = {
        {L"probe", 5, "case differs"},     {L"Probx", 5, "last character differs"},
        {L"Probe", 4, "length cuts it"},   {L"Probes", 6, "longer"},
        {L"Probe", 0, "zero length"},      {L"Probe", -5, "negative length"},
    };
    for (const NameCase& c : misses) {
        CreatorFunction slot = &Sentinel;
        EXPECT_FALSE(MODULERegistryRow(name, &CObject<CProbe>::_CreateInstance, c.length, c.text, &slot))
            << c.why;
        EXPECT_EQ(slot, &Sentinel) << c.why;
    }

    // An unterminated name: only `length` characters are read.
    const wchar_t buffer[] = {L'P', L'r', L'o', L'b', L'e', L'X'};
    CreatorFunction slot = &Sentinel;
    EXPECT_TRUE(MODULERegistryRow(name, &CObject<CProbe>::_CreateInstance, 5, buffer, &slot));
    EXPECT_EQ(slot, &CObject<CProbe>::_CreateInstance);
}

} // namespace
