#include "snapshot/QELSafteConfig.h"

#include "snapshot/ElementReader.h"
#include "storlib/SafteConfig.h"

namespace {

// clang-format off
constexpr AttributeRow<QELSafteConfig> kAttributes[] = {
    {"fanCount",         asLong<&QELSafteConfig::fanCount>},
    {"powerSupplyCount", asLong<&QELSafteConfig::powerSupplyCount>},
    {"slotCount",        asLong<&QELSafteConfig::slotCount>},
};
// clang-format on

template <class Source>
void copyCounts(QELSafteConfig& to, const Source& from) {
    to.addr = from.addr;
    to.fanCount = from.fanCount;
    to.powerSupplyCount = from.powerSupplyCount;
    to.slotCount = from.slotCount;
}

}  // namespace

QELSafteConfig::QELSafteConfig(const QELSafteConfig& other) : RaidObject() {
    copyCounts(*this, other);
}

bool QELSafteConfig::isInstanceOf(char const* name) const {
    return isNamed(name, "QELSafteConfig");
}

char const* QELSafteConfig::typeName() const { return "SafteConfig"; }

char const* QELSafteConfig::serializedName() const { return "SafteConfig"; }

void QELSafteConfig::writeTo(Writer* writer) const {
    writer->writeInt("fanCount", fanCount);
    writer->writeInt("powerSupplyCount", powerSupplyCount);
    writer->writeInt("slotCount", slotCount);
}

void QELSafteConfig::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "SafteConfig", attributes, {}, kAttributes);
}

void QELSafteConfig::build(SafteConfig* source) {
    if (source != nullptr) copyCounts(*this, *source);
}

void QELSafteConfig::build(QELSafteConfig* source) {
    if (source != nullptr) copyCounts(*this, *source);
}
