#include <gtest/gtest.h>

#include <string>

#include "host/FolderFormat.h"

namespace {

struct Malformed {
    const char* text;
    const char* error;
};

} // namespace

TEST(FolderFormat, MalformedTextIsRefusedWithTheLine) {
    const Malformed cases[] = {
        {"", "the text does not start with 'FolderStream 1'"},
        {"int \"a\" 1\n", "line 1: the text does not start with 'FolderStream 1'"},
        {"FolderStream 2\n", "line 1: unsupported version 2"},
        {"FolderStream 1 extra\n", "line 1: unexpected text 'extra'"},
        {"FolderStream 1\ninteger \"a\" 1\n", "line 2: unknown entry type 'integer'"},
        {"FolderStream 1\nint a 1\n", "line 2: missing name in double quotes"},
        {"FolderStream 1\nint \"a 1\n", "line 2: the name has no closing quote"},
        {"FolderStream 1\nint \"\" 1\n", "line 2: an entry name is empty"},
        {"FolderStream 1\nint \"a\"\n", "line 2: missing integer"},
        {"FolderStream 1\nint \"a\" 2147483648\n", "line 2: '2147483648' is not a 32-bit integer"},
        {"FolderStream 1\nint \"a\" 12x\n", "line 2: '12x' is not a 32-bit integer"},
        {"FolderStream 1\nint \"a\" 1 2\n", "line 2: unexpected text '2'"},
        {"FolderStream 1\ndouble \"a\" 1.5.2\n", "line 2: '1.5.2' is not a number"},
        {"FolderStream 1\nstring \"a\" \"bad \\q escape\"\n", "line 2: unknown escape '\\q'"},
        {"FolderStream 1\nstring \"a\" \"\\u{110000000}\"\n", "line 2: invalid character number in \\u{110000000}"},
        {"FolderStream 1\nstring \"a\" \"\\u41\"\n", "line 2: \\u must be followed by {hex digits}"},
        {"FolderStream 1\nstring \"a\" \"\xff\"\n", "line 2: invalid UTF-8 in the text"},
        {"FolderStream 1\nstring \"a\" \"\xed\xa0\x80\"\n", "line 2: invalid UTF-8 in the text"},
        {"FolderStream 1\nstring \"a\" \"\xc0\xaf\"\n", "line 2: invalid UTF-8 in the text"},
        {"FolderStream 1\nstring \"a\" \"\x01\"\n", "line 2: a control character in the text must be escaped"},
        {"FolderStream 1\nraw \"a\" 2 0a\n", "line 2: the block should have 2 bytes but has 1"},
        {"FolderStream 1\nraw \"a\" 1 0a0\n", "line 2: the block should have 1 bytes but has 1 and a half"},
        {"FolderStream 1\nraw \"a\" 2 0g00\n", "line 2: '0g' is not a hexadecimal byte"},
        {"FolderStream 1\nraw \"a\" -1 00\n", "line 2: '-1' is not a byte count"},
        {"FolderStream 1\nraw \"a\" 2\n", "line 2: missing hexadecimal bytes"},
        {"FolderStream 1\nfolder \"a\"\n", "line 2: missing {"},
        {"FolderStream 1\nfolder \"a\" [\n}\n", "line 2: expected '{'"},
        {"FolderStream 1\nfolder \"a\" {\n", "line 2: the folder opened here is not closed"},
        {"FolderStream 1\nfolder \"a\" {\nfolder \"b\" {\n}\n", "line 2: the folder opened here is not closed"},
        {"FolderStream 1\nfolder \"a\" {\n}\nfolder \"b\" {\n", "line 4: the folder opened here is not closed"},
        {"FolderStream 1\n}\n", "line 2: '}' without an open folder"},
        {"FolderStream 1\nfolder \"a\" {\n} }\n", "line 3: unexpected text '}'"},
        {"FolderStream 1\nobject \"a\" \"\" {\n}\n", "line 2: the component name is empty"},
        {"FolderStream 1\nobject \"a\" {\n}\n", "line 2: missing component name in double quotes"},
        {"FolderStream 1\nint \"a\" 1\nint \"A\" 2\n", "line 3: a second entry named \"A\""},
        {"FolderStream 1\nfolder \"f\" {\n  int \"x\" 1\n  empty \"X\"\n}\n", "line 4: a second entry named \"X\""},
    };
    for (const Malformed& c : cases) {
        SCOPED_TRACE(c.text);
        host::FolderNode folder;
        std::string error;
        EXPECT_FALSE(host::ParseFolder(c.text, folder, error));
        EXPECT_EQ(error, c.error);
        EXPECT_TRUE(folder.entries.empty());
    }
}

TEST(FolderFormat, HandWrittenTextIsRead) {
    const std::string text =
        "# written by hand\r\n"
        "\r\n"
        "FolderStream 1\r\n"
        "   # indented comment\n"
        "int\t\"n\"   -12\n"
        "raw \"r\" 2 0AfF\n"
        "raw \"none\" 0\n"
        "double \"d\" 1e3\n"
        "folder \"f\" {\n"
        "object \"o\" \"StreamProbe\" {\n"
        "string \"Label\" \"\\u{48}i \\\"there\\\"\"\n"
        "}\n"
        "}\n";
    host::FolderNode folder;
    std::string error;
    ASSERT_TRUE(host::ParseFolder(text, folder, error)) << error;
    ASSERT_EQ(folder.entries.size(), 5u);
    EXPECT_EQ(std::get<int32_t>(folder.entries[0].value), -12);
    EXPECT_EQ(std::get<host::RawBlock>(folder.entries[1].value).bytes, "\x0a\xff");
    EXPECT_EQ(std::get<host::RawBlock>(folder.entries[2].value).bytes, "");
    EXPECT_EQ(std::get<double>(folder.entries[3].value), 1000.0);
    const auto& sub = std::get<host::SubFolder>(folder.entries[4].value);
    ASSERT_EQ(sub.node->entries.size(), 1u);
    const auto& object = std::get<host::ObjectRecord>(sub.node->entries[0].value);
    EXPECT_EQ(object.component, L"StreamProbe");
    ASSERT_EQ(object.content->entries.size(), 1u);
    EXPECT_EQ(std::get<host::TextValue>(object.content->entries[0].value).text, L"Hi \"there\"");
    // Written back in the canonical form, which reads back the same.
    const std::string canonical = host::SerialiseFolder(folder);
    EXPECT_EQ(canonical,
              "FolderStream 1\n"
              "int \"n\" -12\n"
              "raw \"r\" 2 0aff\n"
              "raw \"none\" 0\n"
              "double \"d\" 1000\n"
              "folder \"f\" {\n"
              "  object \"o\" \"StreamProbe\" {\n"
              "    string \"Label\" \"Hi \\\"there\\\"\"\n"
              "  }\n"
              "}\n");
    host::FolderNode again;
    ASSERT_TRUE(host::ParseFolder(canonical, again, error)) << error;
    EXPECT_EQ(host::SerialiseFolder(again), canonical);
}

TEST(FolderFormat, CharactersOutsideUnicodeSurviveAsEscapes) {
    host::FolderNode folder;
    const std::wstring odd{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000), L'x'};
    folder.entries.push_back({L"odd", host::TextValue{odd}});
    const std::string text = host::SerialiseFolder(folder);
    EXPECT_EQ(text, "FolderStream 1\nstring \"odd\" \"\\u{d800}\\u{110000}x\"\n");
    host::FolderNode back;
    std::string error;
    ASSERT_TRUE(host::ParseFolder(text, back, error)) << error;
    EXPECT_EQ(std::get<host::TextValue>(back.entries[0].value).text, odd);
}
