#include "storlib/SESElement.h"

#include <algorithm>

#include "storlib/Attributes.h"

bool SESElement::isInstanceOf(char const* name) const { return isNamed(name, "SESElement"); }

char const* SESElement::typeName() const { return "SESElement"; }

char const* SESElement::serializedName() const { return "SESElement"; }

void SESElement::writeTo(Writer* writer) const {
    RaidObject::writeTo(writer);
    writer->writeULong("status", status);
    // Enclosures fill unused text with 0xff, the byte at which a reader stops.
    std::string text = descriptor;
    std::replace(text.begin(), text.end(), '\xff', '\x7f');
    writer->writeString("descriptor", text.c_str());
    writer->writeInt("elementType", elementType);
}

void SESElement::readFrom(Reader* reader) {
    RaidObject::readFrom(reader);
    char text[256];  // longer than any descriptor that fits a SES page
    (void)reader->readUInt("status", status);
    if (reader->readString("descriptor", text, sizeof text)) descriptor = text;
    (void)reader->readInt("elementType", elementType);
}

void SESElement::descendantAdded(RaidObject* object) {
    RaidObject::descendantAdded(object);
    object->addr.itemID = addr.itemID;
}
