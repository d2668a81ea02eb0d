#include "storlib/SES2EnclosureDevice.h"

#include "storlib/Attributes.h"
#include "storlib/SESElement.h"

namespace {

std::vector<const SESElement*> elementsOfType(const RaidObject& enclosure, int type) {
    std::vector<RaidObject*> found;
    enclosure.getChildren(found, "SESElement", true, true);
    std::vector<const SESElement*> elements;
    for (const RaidObject* object : found) {
        const auto* element = static_cast<const SESElement*>(object);
        if (element != nullptr && element->getType() == type) elements.push_back(element);
    }
    return elements;
}

EnumSESStatusCodes statusOf(const RaidObject& enclosure, int type, unsigned short unit) {
    const auto elements = elementsOfType(enclosure, type);
    if (unit >= elements.size()) return kSesNotInstalled;
    return static_cast<EnumSESStatusCodes>(elements[unit]->getStatus());
}

unsigned short countOf(const RaidObject& enclosure, int type) {
    return static_cast<unsigned short>(elementsOfType(enclosure, type).size());
}

}  // namespace

SES2EnclosureDevice::SES2EnclosureDevice(Adapter* ownAdapter, Channel* ownChannel)
    : PhysicalDevice(ownAdapter, ownChannel) {}

bool SES2EnclosureDevice::isInstanceOf(char const* name) const {
    return isNamed(name, "SES2EnclosureDevice") || PhysicalDevice::isInstanceOf(name);
}

char const* SES2EnclosureDevice::typeName() const { return "SES2EnclosureDevice"; }

char const* SES2EnclosureDevice::serializedName() const { return "SESEnclosureDevice"; }

void SES2EnclosureDevice::build(SimpleXmlParser&) {}

unsigned short SES2EnclosureDevice::getFanCount() const { return countOf(*this, kSesCooling); }

unsigned short SES2EnclosureDevice::getPowerSupplyCount() const {
    return countOf(*this, kSesPowerSupply);
}

EnumSESStatusCodes SES2EnclosureDevice::getFanStatus(unsigned short fan) const {
    return statusOf(*this, kSesCooling, fan);
}

EnumSESStatusCodes SES2EnclosureDevice::getPowerSupplyStatus(unsigned short supply) const {
    return statusOf(*this, kSesPowerSupply, supply);
}

bool SES2EnclosureDevice::isTempOutOfRange() const {
    for (const SESElement* sensor : elementsOfType(*this, kSesTemperature)) {
        const int status = sensor->getStatus();
        if (status == kSesCritical || status == kSesNonCritical || status == kSesUnrecoverable) {
            return true;
        }
    }
    return false;
}
