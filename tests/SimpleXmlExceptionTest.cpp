#include "xml/SimpleXmlException.h"

#include <string>

#include "gtest/gtest.h"

namespace {

TEST(SimpleXmlException, TellsCharacterAndOffsetAlsoThroughTheStandardBase) {
    try {
        throw SimpleXmlException('1', 17);
    } catch (const std::exception& e) {
        EXPECT_EQ(std::string("unexpected character in XML text"), e.what());
        const auto* exact = dynamic_cast<const SimpleXmlException*>(&e);
        ASSERT_NE(nullptr, exact);
        EXPECT_EQ('1', exact->character);
        EXPECT_EQ(17UL, exact->offset);
    }
}

}  // namespace
