#include <gtest/gtest.h>

#include <string>

#include "StreamTestSupport.h"

using namespace streamtest;

namespace {

IPtr<ICSVStream> NewCSV() { return Make<ICSVStream>(L"CSVStream", IID_ICSVStream); }

// Hands text over the way a parameter collection does: two bytes per
// character.
HRESULT Chars(ICSVStream* csv, const std::wstring& text) {
    return csv->WriteChars(text.data(), static_cast<unsigned int>(text.size() * 2));
}

} // namespace

TEST(CSVStream, CharactersBecomeUTF8) {
    struct Case {
        std::wstring text;
        std::string utf8;
    };
    const Case cases[] = {
        {L"a=1,b=2,c=3", "a=1,b=2,c=3"},
        {L"\u00e9t\u00e9", "\xc3\xa9t\xc3\xa9"},
        {L"\u20ac \u65e5\u672c", "\xe2\x82\xac \xe6\x97\xa5\xe6\x9c\xac"},
        {L"\U0001F600", "\xf0\x9f\x98\x80"},
        {std::wstring(1, static_cast<wchar_t>(0xD800)), "\xef\xbf\xbd"},
        {L"", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.utf8);
        IPtr<ICSVStream> csv = NewCSV();
        ASSERT_EQ(Chars(csv.Get(), c.text), S_OK);
        EXPECT_EQ(Content(csv.Get()), c.utf8);
    }
}

TEST(CSVStream, CountIsTwoBytesPerCharacter) {
    IPtr<ICSVStream> csv = NewCSV();
    const wchar_t* text = L"abcdef";
    ASSERT_EQ(csv->WriteChars(text, 4), S_OK); // two characters
    ASSERT_EQ(csv->WriteChars(L",", 2), S_OK);
    ASSERT_EQ(csv->WriteChars(text + 2, 3), S_OK); // an odd byte is dropped
    ASSERT_EQ(csv->WriteChars(nullptr, 0), S_OK);
    EXPECT_EQ(csv->WriteChars(nullptr, 2), E_POINTER);
    EXPECT_EQ(Content(csv.Get()), "ab,c");
}

TEST(CSVStream, TextIsAppendedAfterReads) {
    IPtr<ICSVStream> csv = NewCSV();
    Chars(csv.Get(), L"first");
    IPtr<IDataStream> bytes = csv.Query<IDataStream>(IID_IDataStream);
    bytes->Reset(0);
    char two[2];
    unsigned int read = 0;
    bytes->Read(two, 2, &read);
    Chars(csv.Get(), L",second");
    EXPECT_EQ(Content(csv.Get()), "first,second");
}

TEST(CSVStream, SaveAndLoadTheText) {
    TempDir dir;
    const std::string path = dir.File("list.csv");
    IPtr<ICSVStream> csv = NewCSV();
    Chars(csv.Get(), L"name=\u00c5ngstr\u00f6m,size=3");
    SetFilename(csv.Get(), path);
    IPtr<IFileArchive> archive = csv.Query<IFileArchive>(IID_IFileArchive);
    ASSERT_EQ(archive->Save(), S_OK) << ErrorText(csv.Get());
    EXPECT_EQ(ReadFile(path), "name=\xc3\x85ngstr\xc3\xb6m,size=3");

    IPtr<ICSVStream> other = NewCSV();
    Chars(other.Get(), L"replaced");
    SetFilename(other.Get(), path);
    IPtr<IFileArchive> otherArchive = other.Query<IFileArchive>(IID_IFileArchive);
    ASSERT_EQ(otherArchive->Load(), S_OK);
    IPtr<IDataStream> bytes = other.Query<IDataStream>(IID_IDataStream);
    char head[5] = {};
    unsigned int read = 0;
    ASSERT_EQ(bytes->Read(head, 5, &read), S_OK); // loaded text is read from the start
    EXPECT_EQ(std::string(head, read), "name=");

    SetFilename(other.Get(), dir.File("missing.csv"));
    EXPECT_EQ(otherArchive->Load(), E_FAIL);
    EXPECT_NE(ErrorText(other.Get()).find("missing.csv"), std::string::npos);
    EXPECT_EQ(Content(other.Get()), "name=\xc3\x85ngstr\xc3\xb6m,size=3"); // kept

    IPtr<IString> filter;
    ASSERT_EQ(archive->get_Filter(filter.Out()), S_OK);
    EXPECT_NE(Text(filter.Get()).find(L"*.csv"), std::wstring::npos);
}
