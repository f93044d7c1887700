#include "platform/linux/text/IcuTextServices.h"

#include <gtest/gtest.h>
#include <regex.h>
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr const char* kLogPattern = "Y-MM-dd HH:mm:ss.SSSZ";

Date date(int year, unsigned month, unsigned day, Date::duration time = {}) {
    using namespace std::chrono;
    return sys_days(std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day)) + time;
}

std::string format(const char* locale, Date date, const char* zone = "Europe/Berlin") {
    ::setenv("LC_ALL", locale, 1);
    ::setenv("TZ", zone, 1);
    ::tzset();
    return text::IcuTextServices().makeDateFormatter(kLogPattern)->stringFromDate(date);
}

TEST(DateFormatter, PrintsTheReferenceStamps) {
    for (const char* locale : {"C", "en_US.UTF-8", "en_GB", "de_DE@euro", "fr_FR"}) {
        EXPECT_EQ(format(locale, date(2024, 12, 30, 23h)), "2025-12-31 00:00:00.000+0100") << locale;
        EXPECT_EQ(format(locale, date(2024, 3, 5, 13h + 7min + 9s + 123ms)), "2024-03-05 14:07:09.123+0100") << locale;
    }
    EXPECT_EQ(format("en_US", date(2024, 7, 1), "America/Los_Angeles"), "2024-06-30 17:00:00.000-0700");
}

TEST(DateFormatter, CountsWeeksAsTheLocaleDoesAndByIso8601WhereItNamesNoCountry) {
    const Date sunday = date(2024, 12, 29, 12h);
    for (const char* locale : {"C", "C.UTF-8", "POSIX", "de_DE"}) {
        EXPECT_EQ(format(locale, sunday), "2024-12-29 13:00:00.000+0100") << locale;
        EXPECT_EQ(format(locale, date(2021, 1, 3)), "2020-01-03 01:00:00.000+0100") << locale;
        EXPECT_EQ(format(locale, date(2021, 1, 4)), "2021-01-04 01:00:00.000+0100") << locale;
    }
    EXPECT_EQ(format("en_US", sunday), "2025-12-29 13:00:00.000+0100");
}

TEST(DateFormatter, TakesTheLocaleOfDatesAndAnEmptyVariableForNone) {
    const auto yearIn = [](const char* time, const char* messages, const char* language) {
        ::setenv("LC_TIME", time, 1);
        ::setenv("LC_MESSAGES", messages, 1);
        ::setenv("LANG", language, 1);
        return format("", date(2024, 12, 29, 12h)).substr(0, 4);
    };
    EXPECT_EQ(yearIn("", "", ""), "2024");
    EXPECT_EQ(yearIn("", "de_DE", "en_US"), "2025");
    EXPECT_EQ(yearIn("de_DE", "en_US", "en_US"), "2024");
    for (const char* variable : {"LC_TIME", "LC_MESSAGES", "LANG"}) ::unsetenv(variable);
}

TEST(DateFormatter, StampsTheZoneOfTheProcessHoweverItIsWritten) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Europe/Berlin", "+0100", "+0200"}, {":Europe/Berlin", "+0100", "+0200"},
        {"CET-1CEST", "+0100", "+0200"},     {"CET-1CEST,M3.5.0,M10.5.0/3", "+0100", "+0200"},
        {"UTC-3", "+0300", "+0300"},         {"<+0530>-5:30", "+0530", "+0530"},
        {"<-01>1", "-0100", "-0100"},        {"", "+0000", "+0000"}};
    for (const auto& [zone, winter, summer] : cases) {
        EXPECT_EQ(format("C", date(2024, 1, 15), zone).substr(23), winter) << zone;
        EXPECT_EQ(format("C", date(2024, 7, 15), zone).substr(23), summer) << zone;
    }
    EXPECT_EQ(format("C", date(2024, 7, 15), "CET-1CEST,M3.5.0,M10.5.0/3"), "2024-07-15 02:00:00.000+0200");
    const auto formatter = text::IcuTextServices().makeDateFormatter(kLogPattern);
    EXPECT_TRUE(formatter->stringFromDate(date(2024, 3, 31, 59min + 59s)).ends_with("01:59:59.000+0100"));
    EXPECT_TRUE(formatter->stringFromDate(date(2024, 3, 31, 60min)).ends_with("03:00:00.000+0200"));
}

TEST(DateFormatter, TakesMillisecondsFromWholeNumbersAlsoInOtherDigitsAndBefore1970) {
    EXPECT_EQ(format("de_DE", date(2024, 3, 5, 999'999us)), "2024-03-05 01:00:00.999+0100");
    EXPECT_EQ(format("de_DE", date(1970, 1, 1, -1us)), "1970-01-01 00:59:59.999+0100");
    EXPECT_EQ(format("ar_EG", date(2024, 3, 5, 789ms)), "٢٠٢٤-٠٣-٠٥ ٠١:٠٠:٠٠.٧٨٩+0100");
}

TEST(DateFormatter, ServesManyThreadsAndSeconds) {
    (void)format("C", {});
    const auto formatter = text::IcuTextServices().makeDateFormatter(kLogPattern);
    const auto work = [&](int offset) {
        for (int i = 0; i < 2000; ++i) {
            const int ms = (i * 37 + offset) % 60'000;
            const auto text = formatter->stringFromDate(date(2024, 3, 5, std::chrono::milliseconds(ms)));
            const auto number = std::stoi(text.substr(17, 2)) * 1000 + std::stoi(text.substr(20, 3));
            ASSERT_EQ(number, ms) << text;
        }
    };
    std::thread other(work, 30'000);
    work(0);
    other.join();
}

TEST(NumberFormatter, TakesWholeDecimalNumbersExactly) {
    const auto formatter = text::IcuTextServices().makeNumberFormatter("en_US_POSIX");
    struct Case {
        const char* text;
        const char* digits;
        std::uint64_t integer;
    };
    for (const Case& test :
         {Case{"12", "12", 12},
          {"0", "0", 0},
          {"-1", "-1", ~std::uint64_t{0}},
          {"1.5", "1.5", 1},
          {"-2.75", "-2.75", 0 - std::uint64_t{2}},
          {"0.009", "0.009", 0},
          {"٣", "3", 3},
          {"9223372036854775809", "9.223372036854775809E18", 9223372036854775809U},
          {"18446744073709551617", "1.8446744073709551617E19", 1},
          {"99999999999999999999999999999999999999", "9.9999999999999999999999999999999999999E37", 687399551400673279U},
          {"100000000000000000000000000000000000001", "1.00000000000000000000000000000000000001E38", 0},
          {"0.0000000001", "1E-10", 0}}) {
        const auto number = formatter->numberFromString(test.text);
        ASSERT_TRUE(number) << test.text;
        EXPECT_EQ(number->digits, test.digits);
        EXPECT_EQ(number->unsignedIntegerValue, test.integer) << test.text;
    }
}

TEST(NumberFormatter, RefusesEverythingElse) {
    const auto formatter = text::IcuTextServices().makeNumberFormatter("en_US_POSIX");
    const std::string tooLong(1001, '1');
    for (const std::string_view text :
         {"",  "1a", "a",     " 1",  "1 ",   "\t1",           "1\n",  "1,234", "+5",
          "-", ".",  "1.2.3", "1e",  "--1",  "(1)",           "1%",   "0x10",  "NaN",
          "∞", "-∞", "1e3",   "1E3", "1e-3", "1e99999999999", "\xff", "1\xc3", tooLong.c_str()}) {
        EXPECT_FALSE(formatter->numberFromString(text)) << text;
    }
    EXPECT_FALSE(formatter->numberFromString(std::string_view("1\0", 2)));
    EXPECT_TRUE(formatter->numberFromString(std::string(1000, '1')));
}

TEST(UUID, IsRandomVersionFourInUpperCase) {
    text::IcuTextServices text;
    regex_t form{};
    ASSERT_EQ(::regcomp(&form, "^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$", REG_EXTENDED),
              0);
    std::vector<std::string> seen(1'000'000);
    for (auto& uuid : seen) uuid = text.makeUUID();
    for (std::size_t i = 0; i < 100; ++i) EXPECT_EQ(::regexec(&form, seen[i].c_str(), 0, nullptr, 0), 0) << seen[i];
    ::regfree(&form);
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end());
}

}  // namespace
