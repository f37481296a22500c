#include "SeamTest.h"
#include "platform/CodePage.h"

#include <algorithm>

using namespace orvex::platform;

namespace {

struct Case
{
    const char *name;
    std::u16string text;
    std::string bytes;
};

// Windows-1252, the code page of a Spanish-speaking Windows and of Wine's
// default prefix.
const Case kRoundTrips[] = {
    {"latin letters", u"Año Grúa Mecánica",
     "A\xF1o Gr\xFA"
     "a Mec\xE1nica"},
    {"euro and quotes", u"\u20AC\u201C\u201D", "\x80\x93\x94"},
    {"the high range's last", u"\u0178\u017E\u0153", "\x9F\x9E\x9C"},
    {"hole stays a control", u"\u0081", "\x81"},
    {"tab, CR and LF", u"Zona\t01:30\t\r\n", "Zona\t01:30\t\r\n"},
    {"empty", u"", ""},
};

} // namespace

TEST_SUITE("codepage")
{
    TEST_CASE("text and ANSI bytes round trip")
    {
        for (const Case &c : kRoundTrips) {
            CAPTURE(c.name);
            CHECK(encodeAnsi(c.text) == c.bytes);
            CHECK(decodeAnsi(c.bytes) == c.text);
        }
    }

    TEST_CASE("every byte decodes to one character and back")
    {
        std::string all;
        for (int b = 1; b < 256; ++b)
            all.push_back(static_cast<char>(b));
        const std::u16string text = decodeAnsi(all);
        CHECK(text.size() == all.size());
        CHECK(encodeAnsi(text) == all);
    }

    TEST_CASE("a byte of the high range is found wherever it stands, and nothing is written past "
              "the text")
    {
        for (std::size_t at : {std::size_t(0), std::size_t(4095), std::size_t(70001)}) {
            std::string bytes(80000, 'x');
            bytes[at] = '\x80';
            // Room for the text and a unit more, which must stay as it was.
            std::u16string text(bytes.size() + 1, u'\x80');
            CAPTURE(at);
            REQUIRE(decodeAnsiTo(bytes, text.data()) == bytes.size());
            CHECK(text[at] == u'\u20AC');
            CHECK(std::count(text.begin(), text.end(), u'\u20AC') == 1);
            CHECK(text.back() == u'\x80');
        }
    }

    TEST_CASE("characters the code page lacks become a question mark")
    {
        // Never a look-alike: "ő" must not quietly become "o".
        CHECK(encodeAnsi(u"a\u4E2Db") == "a?b");
        CHECK(encodeAnsi(u"\u0151") == "?");
        // Outside the basic plane: one mark for each half of the pair.
        CHECK(encodeAnsi(u"x\U0001F600y") == "x??y");
    }
}
