// Text to tokens, text to tree, tree to text, beside the libraries that do the same.
#include <expat.h>
#include <fmt/format.h>
#include <libxml/parser.h>
#include <tinyxml2.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include <pugixml.hpp>

#include "benchmarks/Contests.h"
#include "benchmarks/DiskFile.h"
#include "benchmarks/FlatDocument.h"
#include "benchmarks/GeneratedMachine.h"
#include "snapshot/QELConfigBuilder.h"
#include "snapshot/QELSystem.h"
#include "storlib/Attributes.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SASPhy.h"
#include "storlib/VantAdapter.h"
#include "xml/SimpleXmlParser.h"
#include "xml/XMLWriter.h"

namespace {

// A text that parsers may cut up, and its whole original.
struct Text {
    explicit Text(int drives) : original(GeneratedMachine::snapshot(drives)), work(original) {}
    void restore() { std::memcpy(work.data(), original.data(), original.size()); }

    const std::string original;
    std::string work;
};

void ignoreStart(void*, const XML_Char*, const XML_Char**) {}
void ignoreEnd(void*, const XML_Char*) {}

std::unique_ptr<Contest> makeParse(int drives) {
    auto contest = std::make_unique<Contest>();
    auto text = std::make_shared<Text>(drives);
    const auto restore = [text] { text->restore(); };
    contest->add("ours", prepared(restore, [text] {
                     SimpleXmlParser parser(text->work.data(), text->work.size());
                     while (parser.parseNext()) keep(parser.attributeValue);
                 }));
    // Documents are freed in the preparation: only reading counts.
    auto document = std::make_shared<pugi::xml_document>();
    contest->add("pugixml", prepared(
                                [=] {
                                    document->reset();
                                    restore();
                                },
                                [=] {
                                    const auto result = document->load_buffer_inplace(
                                        text->work.data(), text->work.size(), pugi::parse_minimal);
                                    keep(&result);
                                }));
    const std::shared_ptr<XML_ParserStruct> expat(XML_ParserCreate(nullptr), XML_ParserFree);
    contest->add("expat", prepared(
                              [=] {
                                  (void)XML_ParserReset(expat.get(), nullptr);
                                  XML_SetElementHandler(expat.get(), ignoreStart, ignoreEnd);
                              },
                              [=] {
                                  const int size = static_cast<int>(text->original.size());
                                  (void)XML_Parse(expat.get(), text->original.data(), size, 1);
                              }));
    auto tiny = std::make_shared<tinyxml2::XMLDocument>();
    contest->add(
        "tinyxml2",
        prepared([=] { tiny->Clear(); },
                 [=] { (void)tiny->Parse(text->original.data(), text->original.size()); }));
    auto tree = std::make_shared<xmlDocPtr>(nullptr);
    contest->add("libxml2", prepared(
                                [=] {
                                    xmlFreeDoc(*tree);
                                    *tree = nullptr;
                                },
                                [=] {
                                    const int size = static_cast<int>(text->original.size());
                                    *tree = xmlReadMemory(text->original.data(), size, "", nullptr,
                                                          XML_PARSE_HUGE);
                                }));
    return contest;
}

// --- a loader as one would write it by hand ---

// Looks each attribute up by its name, as the library's manual does.
struct ByName {
    pugi::xml_node node;
    pugi::xml_attribute find(char const* name) { return node.attribute(name); }
};

// Looks for it behind the last one first, which is as good as knowing the order.
struct ByHint {
    pugi::xml_node node;
    pugi::xml_attribute hint;
    pugi::xml_attribute find(char const* name) { return node.attribute(name, hint); }
};

template <class Finder>
class Attributes {
public:
    explicit Attributes(const pugi::xml_node& from) { finder.node = from; }

    template <class Number>
    void number(char const* name, Number& field) {
        field = static_cast<Number>(finder.find(name).as_llong());
    }
    void flag(char const* name, bool& field) { field = finder.find(name).as_bool(); }
    template <std::size_t N>
    void text(char const* name, char (&field)[N]) {
        setText(field, finder.find(name).value());
    }
    void text(char const* name, std::string& field) { field = finder.find(name).value(); }

private:
    Finder finder;
};

template <class Finder>
void load(RaidObject& parent, const pugi::xml_node& node, SASPhy* phy) {
    Attributes<Finder> a(node);
    a.number("controllerID", phy->addr.controllerID);
    a.number("channelID", phy->addr.channelID);
    a.number("deviceID", phy->addr.deviceID);
    a.number("phyID", phy->addr.phyID);
    a.text("SASaddress", phy->SASaddress);
    a.number("initiatorProtocols", phy->initiatorProtocols);
    a.number("targetProtocols", phy->targetProtocols);
    a.number("attachedPhyID", phy->attachedPhyID);
    a.text("attachedSASaddress", phy->attachedSASaddress);
    a.number("attachedInitiatorProtocols", phy->attachedInitiatorProtocols);
    a.number("attachedTargetProtocols", phy->attachedTargetProtocols);
    a.number("attachedDeviceType", phy->attachedDeviceType);
    a.number("negPhyLinkRate", phy->negPhyLinkRate);
    a.number("progMinPhyLinkRate", phy->progMinPhyLinkRate);
    a.number("progMaxPhyLinkRate", phy->progMaxPhyLinkRate);
    a.number("hwMinPhyLinkRate", phy->hwMinPhyLinkRate);
    a.number("hwMaxPhyLinkRate", phy->hwMaxPhyLinkRate);
    a.number("phyChangeCount", phy->phyChangeCount);
    a.flag("virtualPhy", phy->virtualPhy);
    a.number("pathTimeout", phy->pathTimeout);
    a.number("routingType", phy->routingType);
    parent.addChild(phy);
}

template <class Finder>
void load(Channel& channel, const pugi::xml_node& node, HardDrive* drive) {
    Attributes<Finder> a(node);
    a.number("controllerID", drive->addr.controllerID);
    a.number("channelID", drive->addr.channelID);
    a.number("deviceID", drive->addr.deviceID);
    a.number("deviceType", drive->deviceType);
    a.text("vendor", drive->vendor);
    a.text("model", drive->model);
    a.text("serialNumber", drive->serialNumber);
    a.text("firmwareLevel", drive->firmwareLevel);
    a.text("fruNumber", drive->fruNumber);
    a.text("wwn", drive->wwn);
    a.number("state", drive->state);
    a.number("interfaceType", drive->interfaceType);
    a.number("wwn0", drive->wwn0);
    a.number("wwn1", drive->wwn1);
    a.number("sataPort", drive->sataPort);
    a.number("size", drive->size);
    a.flag("pfaError", drive->pfaError);
    a.flag("pfaSupported", drive->pfaSupported);
    a.flag("OSPartition", drive->OSPartition);
    a.flag("taskInProgress", drive->taskInProgress);
    for (const pugi::xml_node& child : node.children("SASPhy"))
        load<Finder>(*drive, child, new SASPhy);
    channel.addChild(drive);
}

template <class Finder>
void load(Adapter& adapter, const pugi::xml_node& node, LogicalDrive* drive) {
    Attributes<Finder> a(node);
    a.number("controllerID", drive->addr.controllerID);
    a.number("logicalDriveID", drive->addr.logicalDriveID);
    a.number("state", drive->state);
    a.number("raidLevel", drive->raidLevel);
    a.flag("blockedAccess", drive->blockedAccess);
    a.number("dataSpace", drive->dataSpace);
    a.number("uniqueID", drive->uniqueID);
    a.text("logicalName", drive->logicalName);
    adapter.addChild(drive);
}

template <class Finder>
void load(System& system, const pugi::xml_node& node, Adapter* adapter) {
    Attributes<Finder> a(node);
    a.number("controllerID", adapter->addr.controllerID);
    a.number("controllerStatus", adapter->controllerStatus);
    a.text("deviceVendor", adapter->deviceVendor);
    a.text("deviceName", adapter->deviceName);
    a.text("controllerSerial", adapter->controllerSerial);
    a.number("pciBus", adapter->pciBus);
    for (const pugi::xml_node& child : node.children()) {
        if (std::strcmp(child.name(), "Channel") == 0) {
            auto* channel = new Channel(adapter);
            Attributes<Finder> c(child);
            c.number("channelID", channel->addr.channelID);
            c.number("channelType", channel->channelType);
            for (const pugi::xml_node& drive : child.children("HardDrive")) {
                load<Finder>(*channel, drive, new HardDrive(adapter, channel));
            }
            adapter->addChild(channel);
        } else if (std::strcmp(child.name(), "LogicalDrive") == 0) {
            load<Finder>(*adapter, child, new LogicalDrive(adapter));
        }
    }
    system.addChild(adapter);
}

template <class Finder>
void addLoader(Contest& contest, const std::string& name, const std::shared_ptr<Text>& text) {
    auto loaded = std::make_shared<std::unique_ptr<System>>();
    auto document = std::make_shared<pugi::xml_document>();
    contest.add(name, prepared(
                          [=] {
                              loaded->reset();
                              document->reset();
                              text->restore();
                          },
                          [=] {
                              (void)document->load_buffer_inplace(
                                  text->work.data(), text->work.size(), pugi::parse_minimal);
                              *loaded = std::make_unique<System>(kStorLibGeneric);
                              const auto root = document->child("System");
                              for (const auto& node : root.children("Controller")) {
                                  load<Finder>(**loaded, node, new VantAdapter);
                              }
                          }));
}

std::unique_ptr<Contest> makeRead(int drives) {
    auto contest = std::make_unique<Contest>();
    auto text = std::make_shared<Text>(drives);
    auto stored = std::make_shared<std::unique_ptr<QELSystem>>();
    contest->add("ours", prepared(
                             [=] {
                                 stored->reset();
                                 text->restore();
                             },
                             [=] {
                                 *stored = std::make_unique<QELSystem>(kStorLibGeneric);
                                 SimpleXmlParser parser(text->work.data(), text->work.size());
                                 (*stored)->build(parser);
                             }));
    addLoader<ByName>(*contest, "pugixml", text);
    addLoader<ByHint>(*contest, "pugixml-hint", text);
    return contest;
}

// The same tree from a file and from memory; what is between them is reading the file.
std::unique_ptr<Contest> makeReadFile(int drives) {
    auto contest = std::make_unique<Contest>();
    auto text = std::make_shared<Text>(drives);
    auto file = std::make_shared<DiskFile>("snapshot", text->original);
    auto builder = std::make_shared<QELConfigBuilder>(file->name());
    contest->add("ours", loop([file, builder] { builder->readXML(); }));
    auto stored = std::make_shared<std::unique_ptr<QELSystem>>();
    contest->add("memory", prepared([=] { text->restore(); },
                                    [=] {
                                        SimpleXmlParser parser(text->work.data(),
                                                               text->work.size());
                                        stored->reset();
                                        *stored = std::make_unique<QELSystem>(kStorLibGeneric);
                                        (*stored)->build(parser);
                                    }));
    return contest;
}

// --- tree to text ---

struct StringWriter : pugi::xml_writer {
    std::string text;
    void write(const void* data, std::size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
};

void formatAll(const std::vector<FlatElement>& list, fmt::memory_buffer& out) {
    for (const FlatElement& element : list) {
        fmt::format_to(fmt::appender(out), element.closes ? "{:{}}</{}" : "{:{}}<{}", "",
                       element.blanks, element.name);
        for (const FlatElement::Attribute& attribute : element.attributes) {
            if (attribute.text != nullptr) {
                fmt::format_to(fmt::appender(out), " {}=\"{}\"", attribute.name, attribute.text);
            } else {
                fmt::format_to(fmt::appender(out), " {}=\"{}\"", attribute.name, attribute.number);
            }
        }
        fmt::format_to(fmt::appender(out), element.empty ? "/>\n" : ">\n");
    }
}

std::size_t printAll(const std::vector<FlatElement>& list, std::vector<char>& out) {
    char* at = out.data();
    char* const end = at + out.size();
    const auto left = [&] { return static_cast<std::size_t>(end - at); };
    for (const FlatElement& element : list) {
        at += std::snprintf(at, left(), element.closes ? "%*s</%s" : "%*s<%s", element.blanks, "",
                            element.name);
        for (const FlatElement::Attribute& attribute : element.attributes) {
            if (attribute.text != nullptr) {
                at += std::snprintf(at, left(), " %s=\"%s\"", attribute.name, attribute.text);
            } else {
                at += std::snprintf(at, left(), " %s=\"%lld\"", attribute.name, attribute.number);
            }
        }
        at += std::snprintf(at, left(), element.empty ? "/>\n" : ">\n");
    }
    return static_cast<std::size_t>(at - out.data());
}

struct WriterWork {
    explicit WriterWork(int drives) : text(GeneratedMachine::snapshot(drives)) {
        SimpleXmlParser parser(text.data(), text.size());
        stored.build(parser);
        (void)document.load_string(GeneratedMachine::snapshot(drives).c_str(), pugi::parse_minimal);
        list = flatten(document);
        room.resize(text.size() + 4096);
    }
    ~WriterWork() { delete[] written; }

    std::string text;
    QELSystem stored{kStorLibGeneric};
    char* written = nullptr;
    pugi::xml_document document;
    std::vector<FlatElement> list;
    StringWriter output;
    fmt::memory_buffer formatted;
    std::vector<char> room;
};

void addOurWriter(Contest& contest, const std::string& name,
                  const std::shared_ptr<WriterWork>& work, double units = 1) {
    contest.add(name,
                prepared(
                    [=] {
                        delete[] work->written;
                        work->written = nullptr;
                    },
                    [=] {
                        XMLWriter writer(&work->written);
                        writer.writeTree(work->stored);
                        keep(work->written);
                    }),
                units);
}

// Everybody begins without memory, but for snprintf(), which has no buffer of its own.
std::unique_ptr<Contest> makeWrite(int drives) {
    auto contest = std::make_unique<Contest>();
    auto work = std::make_shared<WriterWork>(drives);
    addOurWriter(*contest, "ours", work);
    contest->add("pugixml", prepared([=] { std::string().swap(work->output.text); },
                                     [=] {
                                         work->document.save(
                                             work->output, "    ",
                                             pugi::format_indent | pugi::format_no_declaration);
                                     }));
    contest->add("fmt", prepared([=] { work->formatted = fmt::memory_buffer(); },
                                 [=] { formatAll(work->list, work->formatted); }));
    contest->add("snprintf", loop([=] { (void)printAll(work->list, work->room); }));
    return contest;
}

// Time per byte: the ratio is the share of the small document's speed that the large one keeps,
// upside down.
std::unique_ptr<Contest> makeWriteGrowth(int small, int large) {
    auto contest = std::make_unique<Contest>();
    for (const int drives : {large, small}) {
        auto work = std::make_shared<WriterWork>(drives);
        addOurWriter(*contest, drives == large ? "ours" : "small", work,
                     static_cast<double>(work->text.size()));
    }
    return contest;
}

}  // namespace

void addXmlContests(const BenchSettings& settings, Contests& contests) {
    for (const int drives : settings.sizes) {
        const std::string size = std::to_string(drives);
        contests.push_back({"parse/" + size, [=] { return makeParse(drives); }});
        contests.push_back({"read/" + size, [=] { return makeRead(drives); }});
        contests.push_back({"read-file/" + size, [=] { return makeReadFile(drives); }});
        contests.push_back({"write/" + size, [=] { return makeWrite(drives); }});
    }
    const int largest = settings.sizes.empty() ? 24 : settings.sizes.back();
    contests.push_back({"write-growth/" + std::to_string(largest),
                        [=] { return makeWriteGrowth(1000, largest); }});
}
