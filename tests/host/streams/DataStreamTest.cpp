#include <cstring>

#include "support/HostTestSupport.h"

using namespace hosttest;

namespace {

IPtr<IDataStream> NewStream() { return Make<IDataStream>(L"DataStream"); }

HRESULT Put(IDataStream* s, const std::string& bytes, unsigned int* written = nullptr) {
    unsigned int n = 0;
    HRESULT hr = s->Write(bytes.data(), static_cast<unsigned int>(bytes.size()), &n);
    if (written) *written = n;
    return hr;
}

std::string Take(IDataStream* s, unsigned int size, HRESULT* hr = nullptr) {
    std::string out(size, '?');
    unsigned int read = 12345;
    HRESULT result = s->Read(out.data(), size, &read);
    if (hr) *hr = result;
    out.resize(read);
    return out;
}

IPtr<ICSVStream> NewCSV() { return Make<ICSVStream>(L"CSVStream"); }

// Hands text over the way a parameter collection does: two bytes per
// character.
HRESULT Chars(ICSVStream* csv, const std::wstring& text) {
    return csv->WriteChars(text.data(), static_cast<unsigned int>(text.size() * 2));
}

} // namespace

TEST(DataStream, WritesAppendAndOverwriteAtThePosition) {
    IPtr<IDataStream> s = NewStream();
    ASSERT_EQ(s->Create(nullptr, 0, 1), S_OK);
    EXPECT_EQ(Put(s.Get(), "hello world"), S_OK);
    unsigned long position = 99;
    ASSERT_EQ(s->Seek(6, 0, &position), S_OK);
    EXPECT_EQ(position, 6u);
    EXPECT_EQ(Put(s.Get(), "there!"), S_OK); // overwrites "world" and goes one past it
    EXPECT_EQ(Content(s.Get()), "hello there!");
    std::string binary("a\0b\nc", 5);
    EXPECT_EQ(Put(s.Get(), binary), S_OK);
    EXPECT_EQ(Content(s.Get()), std::string("hello there!a\0b\nc", 17));
}

TEST(DataStream, SeekOriginsAndBounds) {
    IPtr<IDataStream> s = NewStream();
    Put(s.Get(), "0123456789");
    struct Case {
        long offset;
        unsigned int origin;
        HRESULT hr;
        unsigned long position; // expected afterwards (unchanged on failure)
    };
    const Case cases[] = {
        {3, 0, S_OK, 3},   {2, 1, S_OK, 5},           {-1, 1, S_OK, 4},          {0, 2, S_OK, 10},
        {-10, 2, S_OK, 0}, {-1, 0, E_INVALIDARG, 0},  {11, 0, E_INVALIDARG, 0},  {1, 2, E_INVALIDARG, 0},
        {10, 1, S_OK, 10}, {-11, 1, E_INVALIDARG, 10}, {0, 3, E_INVALIDARG, 10}, {-4, 2, S_OK, 6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.offset) + " from " + std::to_string(c.origin));
        EXPECT_EQ(s->Seek(c.offset, c.origin, nullptr), c.hr);
        unsigned long now = 0;
        ASSERT_EQ(s->Seek(0, 1, &now), S_OK);
        EXPECT_EQ(now, c.position);
    }
    EXPECT_EQ(Take(s.Get(), 100), "6789");
}

TEST(DataStream, ReadsReportShortReads) {
    IPtr<IDataStream> s = NewStream();
    Put(s.Get(), "abcdef");
    s->Reset(0);
    HRESULT hr = E_FAIL;
    EXPECT_EQ(Take(s.Get(), 4, &hr), "abcd");
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(Take(s.Get(), 4, &hr), "ef");
    EXPECT_EQ(hr, S_FALSE);
    EXPECT_EQ(Take(s.Get(), 4, &hr), "");
    EXPECT_EQ(hr, S_FALSE);
    EXPECT_EQ(s->Read(nullptr, 0, nullptr), S_OK);
    EXPECT_EQ(s->Read(nullptr, 1, nullptr), E_POINTER);
}

TEST(DataStream, ResetKeepsOrClearsTheContent) {
    IPtr<IDataStream> s = NewStream();
    Put(s.Get(), "abc");
    ASSERT_EQ(s->Reset(0), S_OK);
    EXPECT_EQ(Take(s.Get(), 3), "abc");
    ASSERT_EQ(s->Reset(1), S_OK);
    EXPECT_EQ(Content(s.Get()), "");
    Put(s.Get(), "xy");
    EXPECT_EQ(Content(s.Get()), "xy");
}

TEST(DataStream, FixedBufferOfItsOwnRefusesWhatDoesNotFit) {
    IPtr<IDataStream> s = NewStream();
    ASSERT_EQ(s->Create(nullptr, 4, 0), S_OK);
    unsigned int written = 7;
    EXPECT_EQ(Put(s.Get(), "abc", &written), S_OK);
    EXPECT_EQ(written, 3u);
    EXPECT_EQ(Put(s.Get(), "de", &written), E_FAIL); // all or nothing
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(Content(s.Get()), "abc");
    EXPECT_EQ(Put(s.Get(), "d"), S_OK);
    EXPECT_EQ(Content(s.Get()), "abcd");
}

TEST(DataStream, CallersBufferIsReadAndWrittenInPlace) {
    char buffer[6] = {'1', '2', '3', '4', '5', '6'};
    IPtr<IDataStream> s = NewStream();
    ASSERT_EQ(s->Create(buffer, sizeof buffer, 0), S_OK);
    EXPECT_EQ(Take(s.Get(), 2), "12"); // the buffer is the content
    EXPECT_EQ(Put(s.Get(), "ab"), S_OK);
    EXPECT_EQ(std::string(buffer, 6), "12ab56");
    EXPECT_EQ(Put(s.Get(), "xyz"), E_FAIL); // fixed: no room past the end
    EXPECT_EQ(std::string(buffer, 6), "12ab56");
    void* data = nullptr;
    unsigned long size = 0;
    ASSERT_EQ(s->GetStream(&data, &size), S_OK);
    EXPECT_EQ(data, static_cast<void*>(buffer));
    EXPECT_EQ(size, 6u);
}

TEST(DataStream, GrowableCallersBufferMovesToOwnStorageWhenFull) {
    char buffer[4] = {'a', 'b', 'c', 'd'};
    IPtr<IDataStream> s = NewStream();
    ASSERT_EQ(s->Create(buffer, sizeof buffer, 1), S_OK);
    s->Seek(0, 2, nullptr);
    EXPECT_EQ(Put(s.Get(), "efgh"), S_OK);
    EXPECT_EQ(Content(s.Get()), "abcdefgh");
    EXPECT_EQ(std::string(buffer, 4), "abcd");
    s->Seek(0, 0, nullptr);
    Put(s.Get(), "Z");
    EXPECT_EQ(std::string(buffer, 4), "abcd"); // no longer written through
    EXPECT_EQ(Content(s.Get()), "Zbcdefgh");
}

TEST(DataStream, NullArgumentsAreRefused) {
    IPtr<IDataStream> s = NewStream();
    EXPECT_EQ(s->GetStream(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(s->Write(nullptr, 3, nullptr), E_POINTER);
    EXPECT_EQ(s->Write(nullptr, 0, nullptr), S_OK);
    unsigned long size = 1;
    EXPECT_EQ(s->GetStream(nullptr, &size), S_OK);
    EXPECT_EQ(size, 0u);
}

TEST(CSVStream, CharactersBecomeUTF8AndAreAppendedAfterReads) {
    IPtr<ICSVStream> csv = NewCSV();
    const wchar_t* text = L"abcdef";
    ASSERT_EQ(csv->WriteChars(text, 4), S_OK); // the count is two bytes per character
    ASSERT_EQ(csv->WriteChars(L",", 2), S_OK);
    ASSERT_EQ(csv->WriteChars(text + 2, 3), S_OK); // an odd byte is dropped
    ASSERT_EQ(csv->WriteChars(nullptr, 0), S_OK);
    EXPECT_EQ(csv->WriteChars(nullptr, 2), E_POINTER);
    ASSERT_EQ(Chars(csv.Get(), L"=\u00e9\u20ac\U0001F600" + std::wstring(1, static_cast<wchar_t>(0xD800))), S_OK);
    EXPECT_EQ(Content(csv.Get()), "ab,c=\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xef\xbf\xbd");

    IPtr<IDataStream> bytes = csv.Query<IDataStream>();
    bytes->Reset(0);
    char two[2];
    unsigned int read = 0;
    bytes->Read(two, 2, &read);
    Chars(csv.Get(), L",end");
    EXPECT_EQ(Content(csv.Get()).substr(4), "=\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xef\xbf\xbd,end");
}

TEST(CSVStream, SaveAndLoadTheText) {
    TempDir dir;
    const std::string path = dir.File("list.csv");
    IPtr<ICSVStream> csv = NewCSV();
    Chars(csv.Get(), L"name=\u00c5ngstr\u00f6m,size=3");
    SetFilename(csv.Get(), path);
    IPtr<IFileArchive> archive = csv.Query<IFileArchive>();
    ASSERT_EQ(archive->Save(), S_OK) << ErrorText(csv.Get());
    EXPECT_EQ(ReadFile(path), "name=\xc3\x85ngstr\xc3\xb6m,size=3");

    IPtr<ICSVStream> other = NewCSV();
    Chars(other.Get(), L"replaced");
    SetFilename(other.Get(), path);
    IPtr<IFileArchive> otherArchive = other.Query<IFileArchive>();
    ASSERT_EQ(otherArchive->Load(), S_OK);
    IPtr<IDataStream> bytes = other.Query<IDataStream>();
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
    EXPECT_NE(host::ToWide(filter.Get()).find(L"*.csv"), std::wstring::npos);
}
