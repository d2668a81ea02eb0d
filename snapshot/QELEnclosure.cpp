#include "snapshot/QELEnclosure.h"

#include <utility>

#include "snapshot/DeviceCopy.h"
#include "snapshot/ElementReader.h"

namespace {

// clang-format off
constexpr AttributeRow<QELEnclosure> kAttributes[] = {
    {"deviceType",    asLong<&PhysicalDevice::deviceType>},
    {"vendor",        asText<&PhysicalDevice::vendor>},
    {"model",         asText<&PhysicalDevice::model>},
    {"serialNumber",  asText<&PhysicalDevice::serialNumber>},
    {"firmwareLevel", asText<&PhysicalDevice::firmwareLevel>},
    {"fruNumber",     asText<&PhysicalDevice::fruNumber>},
    {"wwn",           asText<&PhysicalDevice::wwn>},
    {"state",         asLong<&PhysicalDevice::state>},
    {"interfaceType", asLong<&PhysicalDevice::interfaceType>},
    {"wwn0",          asLong<&PhysicalDevice::wwn0>},
    {"wwn1",          asLong<&PhysicalDevice::wwn1>},
    {"sataPort",      asLong<&PhysicalDevice::sataPort>},
    {"deviceID",      asID<&Addr::deviceID>},
};

// What is held goes before the new one is read, so that a damaged element leaves neither.
constexpr ChildRow<QELEnclosure> kChildren[] = {
    {"SafteConfig", [](QELEnclosure& enclosure, SimpleXmlParser& parser) {
        enclosure.keepConfig(nullptr);
        auto config = std::make_unique<QELSafteConfig>();
        config->build(parser);
        enclosure.keepConfig(std::move(config));
    }},
    {"SafteStatus", [](QELEnclosure& enclosure, SimpleXmlParser& parser) {
        enclosure.keepStatus(nullptr);
        auto status = std::make_unique<QELSafteStatus>();
        status->build(parser);
        enclosure.keepStatus(std::move(status));
    }},
};
// clang-format on

}  // namespace

QELEnclosure::QELEnclosure(Adapter* ownAdapter, Channel* ownChannel)
    : Enclosure(ownAdapter, ownChannel) {}

QELEnclosure::QELEnclosure(const QELEnclosure& other)
    : Enclosure(other.getAdapter(), other.getChannel()) {
    copyDevice(*this, other);
    setText(firmwareLevel, other.firmwareLevel);
    if (other.config) keepConfig(std::make_unique<QELSafteConfig>(*other.config));
    if (other.status) keepStatus(std::make_unique<QELSafteStatus>(*other.status));
    settleValidity();
}

bool QELEnclosure::isInstanceOf(char const* name) const {
    return isNamed(name, "QELEnclosure") || Enclosure::isInstanceOf(name);
}

char const* QELEnclosure::serializedName() const { return "Enclosure"; }

void QELEnclosure::writeTo(Writer* writer) const {
    Enclosure::writeTo(writer);
    writer->writeBool("qelSafteDataValid", isSafteDataValid());
}

void QELEnclosure::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "Enclosure", attributes, {"deviceID", &Addr::deviceID}, kAttributes,
                 kChildren);
    settleValidity();
}

void QELEnclosure::build(Enclosure* source) {
    if (source == nullptr) return;
    copyDevice(*this, *source);
    setText(firmwareLevel, source->firmwareLevel);
    if (source->isSafteDataValid()) {
        if (source->getSafteConfig() != nullptr) {
            auto copy = std::make_unique<QELSafteConfig>();
            copy->build(source->getSafteConfig());
            keepConfig(std::move(copy));
        }
        if (source->getSafteStatus() != nullptr) {
            auto copy = std::make_unique<QELSafteStatus>();
            copy->build(source->getSafteStatus());
            keepStatus(std::move(copy));
        }
    }
    settleValidity();
}

bool QELEnclosure::isSafteDataValid() const { return config != nullptr && status != nullptr; }

unsigned short QELEnclosure::getFanCount() const {
    return isSafteDataValid() ? config->fanCount : static_cast<unsigned short>(0);
}

unsigned short QELEnclosure::getPowerSupplyCount() const {
    return isSafteDataValid() ? config->powerSupplyCount : static_cast<unsigned short>(0);
}

unsigned char QELEnclosure::getFanStatus(unsigned short fan) const {
    return isSafteDataValid() ? status->getFanStatus(fan) : QELSafteStatus::kUnknown;
}

unsigned char QELEnclosure::getPowerSupplyStatus(unsigned short supply) const {
    return isSafteDataValid() ? status->getPowerSupplyStatus(supply) : QELSafteStatus::kUnknown;
}

bool QELEnclosure::isTempOutOfRange() const {
    return isSafteDataValid() && status->isTempOutOfRange();
}

int QELEnclosure::getSlotNumberFromDeviceID(int deviceID) const {
    return isSafteDataValid() ? status->getSlotNumberFromDeviceID(deviceID)
                              : QELSafteStatus::kNotFound;
}

int QELEnclosure::getDeviceIDFromSlotNumber(int slot) const {
    return isSafteDataValid() ? status->getDeviceIDFromSlotNumber(slot) : QELSafteStatus::kNotFound;
}

void QELEnclosure::keepConfig(std::unique_ptr<QELSafteConfig> newConfig) {
    config = std::move(newConfig);
    if (config != nullptr) adopt(*this, std::make_unique<QELSafteConfig>(*config));
}

void QELEnclosure::keepStatus(std::unique_ptr<QELSafteStatus> newStatus) {
    status = std::move(newStatus);
    if (status != nullptr) adopt(*this, std::make_unique<QELSafteStatus>(*status));
}

// For whoever reads the plain field of the storage library.
void QELEnclosure::settleValidity() { safteDataValid = isSafteDataValid(); }
