#include "SeamTest.h"
#include "platform/CodePage.h"

#include <algorithm>
#include <numeric>

using namespace orvex::platform;

// Windows-1252, the code page of a Spanish-speaking Windows and of Wine's
// default prefix.
TEST_SUITE_BEGIN("codepage");

TEST_CASE("text and ANSI bytes round trip")
{
    const std::pair<std::u16string, std::string> cases[] = {
        {u"Año Grúa", "A\xF1o Gr\xFA\x61"},
        // Only bytes of the high range, whose table is easy to skip.
        {u"\u20AC\u201C\u201D\u0178\u017E\u0153", "\x80\x93\x94\x9F\x9E\x9C"},
        {u"\u0081\t\r\n", "\x81\t\r\n"}, // a hole stays a control
    };
    for (const auto &[text, bytes] : cases)
        CHECK((encodeAnsi(text) == bytes && decodeAnsi(bytes) == text));
    // Every byte is one character and back.
    std::string all(255, '\0');
    std::iota(all.begin(), all.end(), '\x01');
    CHECK(encodeAnsi(decodeAnsi(all)) == all);
    // Outside the basic plane: one mark for each half of the pair, never a look-alike.
    CHECK(encodeAnsi(u"a\u4E2Db\u0151x\U0001F600y") == "a?b?x??y");
}

TEST_CASE("a byte of the high range is found wherever it stands, nothing written past the text")
{
    for (std::size_t at : {std::size_t(0), std::size_t(4095), std::size_t(70001)}) {
        std::string bytes(80000, 'x');
        bytes[at] = '\x80';
        std::u16string text(bytes.size() + 1, u'\x80'); // one unit more, to stay as it was
        CAPTURE(at);
        REQUIRE(decodeAnsiTo(bytes, text.data()) == bytes.size());
        CHECK((std::count(text.begin(), text.end(), u'\u20AC') == 1 && text[at] == u'\u20AC' &&
               text.back() == u'\x80'));
    }
}
TEST_SUITE_END();
