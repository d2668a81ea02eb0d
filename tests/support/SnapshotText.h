// SnapshotText: snapshot objects from text and text from snapshot objects, for tests that compare
// whole texts.
//
//   QELSASPhy phy;
//   parseInto(phy, "<SASPhy phyID=\"3\"/>");
//   EXPECT_EQ("<SASPhy phyID=\"3\"/>", elementOf(phy));
#ifndef TESTS_SUPPORT_SNAPSHOTTEXT_H
#define TESTS_SUPPORT_SNAPSHOTTEXT_H

#include <cstring>
#include <memory>
#include <string>

#include "storlib/RaidObject.h"
#include "xml/SimpleXmlParser.h"
#include "xml/XMLWriter.h"

// A copy of a text on the heap, to the byte and without NUL: whoever touches what lies beside it is
// caught by the address sanitizer.
class ExactBuffer {
public:
    explicit ExactBuffer(const std::string& text) : bytes(new char[text.size()]) {
        if (!text.empty()) std::memcpy(bytes.get(), text.data(), text.size());
        length = text.size();
    }
    char* data() const { return bytes.get(); }
    unsigned long size() const { return length; }

private:
    std::unique_ptr<char[]> bytes;
    unsigned long length = 0;
};

template <class Object>
void parseInto(Object& object, const std::string& text) {
    const ExactBuffer buffer(text);
    SimpleXmlParser parser(buffer.data(), buffer.size());
    object.build(parser);
}

// What `write` makes a fresh writer write.
template <class Write>
std::string writtenBy(Write write) {
    char* text = nullptr;
    XMLWriter writer(&text);
    write(writer);
    std::string result(text, writer.getStrSize());
    delete[] text;
    return result;
}

inline std::string treeOf(const RaidObject& object) {
    return writtenBy([&object](XMLWriter& writer) { writer.writeTree(object); });
}

inline std::string elementOf(const RaidObject& object) {
    return writtenBy([&object](XMLWriter& writer) { writer.writeObject(object); });
}

#endif  // TESTS_SUPPORT_SNAPSHOTTEXT_H
