#include "storlib/sources/SesPages.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string bytes(const std::string& digits) {
    std::string result;
    std::string pair;
    for (const char c : digits) {
        if (c == ' ') continue;
        pair += c;
        if (pair.size() < 2) continue;
        result += static_cast<char>(std::stoi(pair, nullptr, 16));
        pair.clear();
    }
    return result;
}

// One enclosure: 2 slots, 1 fan, 1 temperature sensor.
SesPages smallEnclosure() {
    SesPages pages;
    pages.configuration = bytes("01 00 0034 00000007  11 00 03 24") + std::string(36, 'e') +
                          bytes("17 02 00 00  03 01 00 00  04 01 00 00");
    pages.status = bytes(
        "02 00 0020 00000007"
        "00000000 01000000 05000000"
        "00000000 02000000"
        "00000000 01003300");
    pages.thresholds = bytes(
        "05 00 0020 00000007"
        "00000000 00000000 00000000"
        "00000000 00000000"
        "00000000 50461e19");
    pages.descriptors = bytes("07 00 0030 00000007 00000000") + bytes("00000007") + "Slot 07" +
                        bytes("00000003") + "Bay" + bytes("00000000") + bytes("00000006") +
                        "Fan 1 " + bytes("00000000 00000000");
    pages.additional = bytes(
        "0a 00 004c 00000007"
        "16 22 00 00 01 00 00 09  10 00 00 08 5001122400000001 5001122300000100 02"
        "00000000000000");
    return pages;
}

TEST(SesPages, GivenTheFivePagesThenTheElementsCarryTypeStatusNameAndLinks) {
    const std::vector<SesUnit> units = smallEnclosure().units();
    ASSERT_EQ(4U, units.size());
    EXPECT_EQ(kSesArrayDevice, units[0].type);
    EXPECT_EQ(1U, units[0].status);
    EXPECT_EQ("SLOT 9", units[0].descriptor);  // page 0x0a knows the slot's number best
    ASSERT_EQ(1U, units[0].links.size());
    EXPECT_EQ("5001122300000100", units[0].links[0].address);
    EXPECT_EQ("5001122400000001", units[0].links[0].attachedAddress);
    EXPECT_EQ(2U, units[0].links[0].phyID);
    EXPECT_EQ(1, units[0].links[0].attachedType);
    EXPECT_EQ(8U, units[0].links[0].targetProtocols);
    EXPECT_EQ(5U, units[1].status);
    EXPECT_EQ("SLOT 1", units[1].descriptor);  // no number in its name: its place counts
    EXPECT_EQ(kSesCooling, units[2].type);
    EXPECT_EQ(2U, units[2].status);
    EXPECT_EQ("Fan 1", units[2].descriptor);
    EXPECT_EQ(kSesTemperature, units[3].type);
    EXPECT_EQ(1U, units[3].status);
}

TEST(SesPages, GivenNoAdditionalPageThenTheNameGivesTheSlotsNumber) {
    SesPages pages = smallEnclosure();
    pages.additional.clear();
    EXPECT_EQ("SLOT 7", pages.units()[0].descriptor);
    pages.descriptors.clear();
    EXPECT_EQ("SLOT 0", pages.units()[0].descriptor);
    EXPECT_EQ("", pages.units()[2].descriptor);
}

struct TemperatureCase {
    unsigned char status;
    unsigned char reading;  // degrees above -20
    unsigned int expected;
};

constexpr TemperatureCase kTemperatureCases[] = {
    {1, 0x33, kSesOk},           {1, 0x45, kSesOk},       {1, 0x46, kSesNonCritical},
    {1, 0x50, kSesCritical},     {1, 0xff, kSesCritical}, {1, 0x1d, kSesNonCritical},
    {1, 0x18, kSesCritical},     {1, 0x00, kSesOk},       {2, 0x33, kSesCritical},
    {5, 0x60, kSesNotInstalled}, {6, 0x57, kSesCritical},
};

// Some sensors call themselves well at any temperature.
TEST(SesPages, GivenASensorBeyondItsOwnLimitsThenItIsNotWell) {
    for (const TemperatureCase& c : kTemperatureCases) {
        SesPages pages = smallEnclosure();
        const std::size_t place = pages.status.size() - 4;
        pages.status[place] = static_cast<char>(c.status);
        pages.status[place + 2] = static_cast<char>(c.reading);
        EXPECT_EQ(c.expected, pages.units()[3].status) << int(c.status) << " at " << int(c.reading);
    }
    SesPages pages = smallEnclosure();
    pages.thresholds.clear();
    pages.status[pages.status.size() - 2] = '\x7f';
    EXPECT_EQ(1U, pages.units()[3].status);
}

struct ReadingCase {
    std::size_t unit;
    const char* bytes;  // of its status
    int expected;
};

constexpr ReadingCase kReadings[] = {
    {3, "01003300", 31},  // 0x33 less 20 degrees
    {3, "0100ff00", 235},
    {3, "01000100", -19},
    {3, "01000000", SesUnit::kNoReading},  // 0 stands for none
    {3, "05003300", SesUnit::kNoReading},  // nobody there
    {2, "01020a05", 5220},                 // 0x20a tens
    {2, "0107ff07", 20470},
    {2, "01f80a05", 100},  // the high bits of the byte are no digits
    {2, "02000000", SesUnit::kNoReading},
    {0, "01003300", SesUnit::kNoReading},  // a slot measures nothing
};

TEST(SesPages, GivenSensorsAndFansThenTheyTellDegreesAndTurns) {
    for (const ReadingCase& c : kReadings) {
        SesPages pages = smallEnclosure();
        constexpr std::size_t kPlaces[] = {12, 16, 24, 32};
        pages.status.replace(kPlaces[c.unit], 4, bytes(c.bytes));
        EXPECT_EQ(c.expected, pages.units()[c.unit].reading) << c.unit << " " << c.bytes;
    }
}

TEST(SesPages, GivenPagesOfDifferentGenerationsThenThereAreNoElements) {
    SesPages pages = smallEnclosure();
    pages.status[7] = 8;
    EXPECT_TRUE(pages.units().empty());
    EXPECT_FALSE(pages.fits(pages.status));
    EXPECT_TRUE(pages.fits(smallEnclosure().status));
}

// Whatever is cut off, nothing is read beyond the end.
TEST(SesPages, GivenPagesCutAnywhereThenOnlyWhatIsThereCounts) {
    const SesPages whole = smallEnclosure();
    for (std::size_t size = 0; size <= 80; ++size) {
        for (std::string SesPages::*page :
             {&SesPages::configuration, &SesPages::status, &SesPages::thresholds,
              &SesPages::descriptors, &SesPages::additional}) {
            SesPages cut = whole;
            // Exact-size copies, so that a sanitizer sees every step too far.
            cut.*page = std::string((whole.*page).substr(0, size));
            EXPECT_LE(cut.units().size(), 4U);
        }
    }
}

TEST(SesPages, GivenArbitraryBytesThenReadingEnds) {
    SesPages pages = smallEnclosure();
    for (unsigned int seed = 1; seed < 200; ++seed) {
        SesPages damaged = pages;
        for (std::string SesPages::*page : {&SesPages::configuration, &SesPages::status,
                                            &SesPages::descriptors, &SesPages::additional}) {
            const std::size_t place = 8 + seed * 7 % ((damaged.*page).size() - 8);
            (damaged.*page)[place] = static_cast<char>(seed * 37);
        }
        EXPECT_LE(damaged.units().size(), 4096U);
    }
}

}  // namespace
