// Keys do not depend on the locale, which the Java VM takes over from its user. The locales are made here.
#include "library/support/CMNImpUtils.h"

#include <bit>
#include <cctype>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Locale {
    const char *name;
    const char *source;
    const char *characters;
    // What shows that the locale is in force: the C library turns this character into that one.
    int lower;
    int upper;
};

void PrintTo(const Locale &locale, std::ostream *stream) {
    *stream << locale.name;
}

struct KeyLocalesTest : testing::TestWithParam<Locale> {
    void SetUp() override {
        for (const char *needed : {"/usr/share/i18n/locales/tr_TR", "/usr/bin/localedef"})
            if (!fs::exists(needed))
                GTEST_SKIP() << "locales cannot be made here: there is no " << needed;
        char name[] = "/tmp/locales-XXXXXX";
        folder = mkdtemp(name);
        const char *order = std::endian::native == std::endian::big ? " --big-endian" : " --little-endian";
        const Locale &locale = GetParam();
        const std::string make = std::string("/usr/bin/localedef --no-archive -i ") + locale.source + " -f " +
                                 locale.characters + order + ' ' + (folder / locale.name).string();
        ASSERT_EQ(system(make.c_str()), 0) << make;
        setenv("LOCPATH", folder.c_str(), 1);
        ASSERT_NE(setlocale(LC_ALL, locale.name), nullptr);
        ASSERT_EQ(toupper(locale.lower), locale.upper);
    }

    void TearDown() override {
        setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        if (!folder.empty())
            fs::remove_all(folder);
    }

    fs::path folder;
};

uint32_t keyOf(std::string text) {
    uint32_t key = 0;
    makeHashResult(text.data(), &key);
    return key;
}

TEST_P(KeyLocalesTest, KeysAreTheSameAndOnlyAToZAreUpperCased) {
    EXPECT_EQ(keyOf("MAIL"), 0x91Fu); // (4D + 41) + (A0 + 49) * 2 + (52 + 4C) * 4 + 89 * 8 - 1
    EXPECT_EQ(keyOf("mail"), 0x91Fu);
    EXPECT_EQ(keyOf("\xE2\x82\xAC"), 0x3E9u); // (E2 + 82) + (41 + AC) * 2 + 2B * 4 - 1
    EXPECT_EQ(keyOf("\xFD"), 0xFCu);
    for (int character = 1; character < 256; ++character) {
        char text[] = {static_cast<char>(character), '\0'};
        uint32_t key = 0;
        makeHashResult(text, &key);
        const int upper = character >= 'a' && character <= 'z' ? character - 32 : character;
        EXPECT_EQ(static_cast<unsigned char>(text[0]), upper);
        EXPECT_EQ(key, static_cast<uint32_t>(upper) - 1);
    }
}

// In Turkish, the upper-case letter of i is another one than I, and no single byte in UTF-8.
INSTANTIATE_TEST_SUITE_P(Locales, KeyLocalesTest,
                         testing::Values(Locale{"tr_TR.UTF-8", "tr_TR", "UTF-8", 'i', 'i'},
                                         Locale{"de_DE.ISO-8859-1", "de_DE", "ISO-8859-1", 0xE2, 0xC2}),
                         [](const auto &locale) { return std::string(locale.param.name, 2); });

} // namespace
