#include "events/VantEventCollection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "xml/SimpleXmlException.h"

namespace {

using Events = std::vector<VantEvent>;

// All but the time, in the form in which the line shows it.
std::vector<std::string> linesOf(const Events& events) {
    std::vector<std::string> lines;
    for (const VantEvent& event : events) lines.push_back(event.toString());
    return lines;
}

VantEvent numbered(int number, int qual = 7) {
    return VantEvent(qual, 1, 2, 3, number, "path", "event " + std::to_string(number));
}

struct ListingCase {
    const char* when;
    const char* listing;
    Events events;
};

const ListingCase kListings[] = {
    {"all attributes",
     "<Event Sequence=\"5\" Qual=\"7\" Status=\"0\" SenseKey=\"1\" AdditionalSenseCode=\"10\" "
     "LDPath=\"/0/1\" Description=\"text\"/>",
     {VantEvent(7, 0, 1, 16, 5, "/0/1", "text")}},
    {"two events below a root",
     "<?xml version=\"1.0\"?>\n<Events Sequence=\"9\">\n <Event Sequence='1'/>\n"
     " <Event Sequence='2' Status='ff'></Event>\n</Events>\n",
     {VantEvent(0, 0, 0, 0, 1, "", ""), VantEvent(0, 255, 0, 0, 2, "", "")}},
    {"a sequence in hexadecimal",
     "<Event Sequence=\"0x1F\"/>",
     {VantEvent(0, 0, 0, 0, 31, "", "")}},
    {"a sequence that is too large",
     "<Event Sequence=\"4294967295\"/>",
     {VantEvent(0, 0, 0, 0, 2147483647, "", "")}},
    {"hexadecimal numbers that are too large",
     "<Event Qual=\"1FFFFFFFF\" Status=\"100000000\"/>",
     {VantEvent(-1, -1, 0, 0, 0, "", "")}},
    {"values without a digit leave the number",
     "<Event Qual='5' Qual='' Qual='zz' Qual/>",
     {VantEvent(5, 0, 0, 0, 0, "", "")}},
    {"a prefix alone is 0", "<Event Qual='5' Qual='0x'/>", {VantEvent()}},
    {"the last of two values counts",
     "<Event LDPath='a' LDPath='b' Description='c' Description='' Qual='1' Qual='2'/>",
     {VantEvent(2, 0, 0, 0, 0, "b", "")}},
    {"attributes without a value", "<Event Qual LDPath>", {VantEvent()}},
    {"a text or sequence without a value is empty",
     "<Event LDPath='a' Sequence='7' LDPath Sequence>",
     {VantEvent()}},
    {"other attributes, and names in other letters",
     "<Event X='1' qual='1' LDPATH='a'/>",
     {VantEvent()}},
    {"an element without attributes",
     "<Event/><Event></Event><Event>",
     {VantEvent(), VantEvent(), VantEvent()}},
    {"an event without attributes after one that has some",
     "<Event Qual='5' LDPath='a'/><Event/>",
     {VantEvent(5, 0, 0, 0, 0, "a", ""), VantEvent()}},
    {"an attribute of a later element belongs to the last event",
     "<Event Qual='1'/><Other Qual='2' LDPath='a'/>",
     {VantEvent(2, 0, 0, 0, 0, "a", "")}},
    {"entities stay as written",
     "<Event Description='a&amp;b'/>",
     {VantEvent(0, 0, 0, 0, 0, "", "a&amp;b")}},
    {"an input that ends early", "<Event Qual='1' LDPath='a", {VantEvent(1, 0, 0, 0, 0, "", "")}},
    {"an input that ends inside the tag", "<Event ", {VantEvent()}},
    // no event
    {"items before the first event", "<Other Qual='1' LDPath='a'>text</Other>", {}},
    {"an end tag", "</Event>", {}},
    {"another element", "<event Qual='1'/><Events/><EventX/>", {}},
    {"text", "Event Qual='1'", {}},
    {"nothing", "", {}},
    {"null", nullptr, {}},
};

TEST(VantEventCollection, ListingsAreReadAttributeByAttribute) {
    for (const ListingCase& c : kListings) {
        SCOPED_TRACE(c.when);
        const VantEventCollection collection(c.listing);
        EXPECT_EQ(linesOf(c.events), linesOf(collection.getAllEvents()));
        EXPECT_EQ(static_cast<int>(c.events.size()), collection.getNumberOfEvents());
    }
}

TEST(VantEventCollection, GivenAListingThenTheCallersBufferIsNotAltered) {
    std::string buffer = "<Event Qual=\"7\"/>";
    const VantEventCollection collection(&buffer[0]);
    EXPECT_EQ("<Event Qual=\"7\"/>", buffer);
    EXPECT_EQ(1, collection.getNumberOfEvents());
}

TEST(VantEventCollection, GivenAMalformedListingThenThrows) {
    for (const char* listing :
         {"<Event Qual=7/>", "<Event/ >", "<Event Qual='1'/><Event Qual=x>"}) {
        SCOPED_TRACE(listing);
        EXPECT_THROW(VantEventCollection collection(listing), SimpleXmlException);
    }
}

TEST(VantEventCollection, FiltersSelectBySeverityInListOrder) {
    VantEventCollection collection;
    for (int qual = 0; qual <= 11; ++qual) collection.addEvent(numbered(qual, qual));
    const auto sequencesOf = [](const Events& events) {
        std::vector<int> sequences;
        for (const VantEvent& event : events) sequences.push_back(event.sequence);
        return sequences;
    };
    EXPECT_EQ((std::vector<int>{7, 11}), sequencesOf(collection.getInformationEvents()));
    EXPECT_EQ((std::vector<int>{1, 3, 4, 6, 10}), sequencesOf(collection.getFatalEvents()));
    EXPECT_EQ((std::vector<int>{0, 2, 5, 8, 9}), sequencesOf(collection.getWarningEvents()));
    // Intended: no qualifier means progress.
    EXPECT_EQ((std::vector<int>{}), sequencesOf(collection.getProgressEvents()));
    EXPECT_EQ(12, collection.getNumberOfEvents());
}

TEST(VantEventCollection, MergeAppendsAllDuplicatesToo) {
    VantEventCollection collection;
    collection.addEvent(numbered(1));
    collection.mergeEvents(Events{numbered(2), numbered(1)});
    VantEventCollection other;
    other.addEvent(numbered(3));
    collection.mergeEvents(other);
    collection.mergeEvents(collection);
    const Events expected = {numbered(1), numbered(2), numbered(1), numbered(3),
                             numbered(1), numbered(2), numbered(1), numbered(3)};
    EXPECT_EQ(linesOf(expected), linesOf(collection.getAllEvents()));
    EXPECT_EQ(numbered(3).toString(), collection.getEvent(7).toString());
    EXPECT_EQ(1, other.getNumberOfEvents());
}

TEST(VantEventCollection, GivenAnEventWhenDeletedThenOnlyTheFirstEqualOneGoes) {
    VantEventCollection collection;
    for (const int number : {1, 2, 3, 2}) collection.addEvent(numbered(number));
    EXPECT_EQ(0, collection.deleteEvent(numbered(4)));
    EXPECT_EQ(1, collection.deleteEvent(numbered(2)));
    EXPECT_EQ(linesOf({numbered(1), numbered(3), numbered(2)}), linesOf(collection.getAllEvents()));
    EXPECT_EQ(1, collection.deleteEvent(numbered(2)));
    EXPECT_EQ(0, collection.deleteEvent(numbered(2)));
}

// Intended: a controller that repeats an event may give it another status.
TEST(VantEventCollection, GivenEventsThatDifferInStatusOrTimeThenTheyAreEqual) {
    VantEvent other = numbered(1);
    other.status = 99;
    other.timeStamp += 5;
    EXPECT_EQ(0, VantEventCollection::compareEvents(numbered(1), other));
    VantEventCollection collection;
    collection.addEvent(numbered(1));
    EXPECT_EQ(1, collection.deleteEvent(other));
}

TEST(VantEventCollection, GivenEventsThatDifferInAnyOtherFieldThenTheyAreNotEqual) {
    Events others(6, numbered(1));
    ++others[0].qual;
    ++others[1].senseKey;
    ++others[2].additionalSenseCode;
    ++others[3].sequence;
    others[4].ldPath += "x";
    others[5].description += "x";
    for (const VantEvent& other : others) {
        EXPECT_EQ(-1, VantEventCollection::compareEvents(numbered(1), other));
    }
}

TEST(VantEventCollection, CopiesAreIndependent) {
    VantEventCollection first;
    first.addEvent(numbered(1));
    VantEventCollection second = first;
    second.addEvent(numbered(2));
    EXPECT_EQ(1, first.getNumberOfEvents());
    first = second;
    EXPECT_EQ(2, first.getNumberOfEvents());
}

}  // namespace
