#include "trimora/contract/koOS/Filename.h"
#include "trimora/contract/koString/CString.h"
#include "trimora/contract/koString/IString.h"

#include <doctest/doctest.h>
#include <string>

using koOS::Filename;
using koString::CString;
using koString::Encoding;
using koString::IString;

namespace {

std::string text(CString const& string) {
    return string.asChar();
}

}  // namespace

TEST_CASE("stringsFormatAppendAndMeasure") {
    CString string;
    CHECK(string.isEmpty());
    CHECK(text(CString(nullptr)).empty());
    string.format("%d %s %.2f", 7, "tris", 0.5);
    CHECK(text(string) == "7 tris 0.50");
    CHECK(string.length() == 11);
    string.append(" left").append(CString("!")).append(nullptr);
    CHECK(text(string) == "7 tris 0.50 left!");
    string.format("<%s|%s>", string.asChar(), string.asChar());  // its own text
    CHECK(text(string) == "<7 tris 0.50 left!|7 tris 0.50 left!>");
    CString const copy(string);
    string.format("%s", "");
    CHECK(string.isEmpty());
    CHECK(copy.length() == 37);
    CHECK(string.format("%5000d", 1).length() == 5000);
    string.append(string);
    CHECK(string.length() == 10000);
}

TEST_CASE("stringsCompareBytewise") {
    using namespace koString;
    CHECK(equal("ab", "ab"));
    CHECK_FALSE(equal("ab", "abc"));
    CHECK(notEqual("ab", "aB"));
    CHECK(less("", "a"));
    CHECK(less("Z", "a"));
    CHECK(less("a", "aa"));
    CHECK(less("z", "\xC3\xA4"));  // bytes above 0x7F come last
    CHECK_FALSE(less("a", "a"));
    CHECK(text(plus("st", "rip")) == "strip");
    CHECK(ko::less<CString>()("a", "b"));
    CHECK(ko::hash<CString>()("uvs") == ko::hash<CString>()(CString("uvs")));
    CHECK(ko::equal_to<CString>()("sts", "sts"));
}

TEST_CASE("wideStringsConvertBetweenEncodings") {
    IString const umlaut("gr\xC3\xBC\xC3\x9F");
    CHECK(umlaut.length() == 4);
    CHECK(text(umlaut.asMultibyte(Encoding::Latin1)) == "gr\xFC\xDF");
    CHECK(text(umlaut.asMultibyte(Encoding::Utf8)) == "gr\xC3\xBC\xC3\x9F");
    CHECK(IString("gr\xFC\xDF", Encoding::Latin1) == umlaut);
    CHECK(IString("gr\xFC\xDF", Encoding::Latin1).encoding() == Encoding::Latin1);

    IString const cube("\xE2\x96\xA1\xF0\x9F\x93\xA6");  // three and four bytes
    CHECK(cube.length() == 2);
    CHECK(text(cube.asMultibyte(Encoding::Utf8)) == "\xE2\x96\xA1\xF0\x9F\x93\xA6");
    CHECK(text(cube.asMultibyte(Encoding::Latin1)) == "??");
    CHECK(IString().isEmpty());
    CHECK(IString(nullptr).isEmpty());
    CHECK(text(IString(nullptr).asMultibyte()).empty());
}

TEST_CASE("fileNamesOfAnyBytesComeBackUnchanged") {
    // lone continuation, cut sequences, overlong slash, surrogate, beyond the last plane, plain Latin-1
    for (char const* const bytes : {"\x80", "a\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                    "\xE2\x96", "caf\xE9.obj", "\xED\xB2\x80", "\xFF\xFE"}) {
        IString const name(bytes);
        CHECK(text(name.asMultibyte(Encoding::Native)) == bytes);
    }
    CHECK(text(IString("caf\xE9").asMultibyte(Encoding::Utf8)) == "caf\xEF\xBF\xBD");
    CHECK(text(IString("\xE2\x96z", Encoding::Utf8).asMultibyte()) == "\xEF\xBF\xBD\xEF\xBF\xBDz");

    for (int first = 1; first < 256; ++first)
        for (int second = 1; second < 256; ++second) {
            char const bytes[] = {static_cast<char>(first), static_cast<char>(second), 'x', '\0'};
            REQUIRE(text(IString(bytes).asMultibyte()) == bytes);
        }
}

TEST_CASE("fileNamesFallIntoDirectoryTrunkAndExtension") {
    struct {
        char const* name;
        char const* directory;
        char const* base;
        char const* trunk;
    } const cases[] = {
        {"bust.obj", "", "bust.obj", "bust"},
        {"scans/bust.v2.obj", "scans/", "bust.v2.obj", "bust.v2"},
        {"/bust", "/", "bust", "bust"},
        {"a.b/c", "a.b/", "c", "c"},
        {"dir/", "dir/", "", ""},
        {"", "", "", ""},
        {".hidden", "", ".hidden", ".hidden"},
        {"..", "", "..", ".."},
        {"../x.", "../", "x.", "x"},
        {"caf\xE9/gr\xC3\xBC.obj", "caf\xE9/", "gr\xC3\xBC.obj", "gr\xC3\xBC"},
    };
    for (auto const& expected : cases) {
        Filename const name(IString(expected.name));
        CHECK(text(name.dirname()) == expected.directory);
        CHECK(text(name.basename()) == expected.base);
        CHECK(text(name.baseTrunk()) == expected.trunk);
        CHECK(text(name.path()) == expected.name);
    }
}
