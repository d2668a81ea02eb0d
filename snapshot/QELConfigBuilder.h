// QELConfigBuilder: keeps a configuration in a file, so that a monitor that starts again compares
// with what it saw last. docs/formats/snapshot.md describes the file.
//
//   QELConfigBuilder builder("/var/lib/raidwatch/QELVANTConfig.xml");
//   builder.readXML();                       // the configuration of the last run
//   compare(live, builder.getSystem());
//   builder.build(live, progress);
//   builder.writeXML();                      // the tree is gone, the file is new
//
// Ownership  The builder owns its tree; getSystem() is borrowed until the next call.
// Threads    No locking inside, and none against a second process.
// Errors     A file that cannot be opened is passed over: readXML() then leaves an empty tree,
//            writeXML() an old file. So does a tree for whose text there is no memory. A malformed
//            file makes readXML() throw SimpleXmlException; what was complete before it stays in
//            the tree. A file that ends early reads into a smaller tree, and damage() says so.
//            Only plain files count; nothing here waits for the other end of a pipe.
#ifndef SNAPSHOT_QELCONFIGBUILDER_H
#define SNAPSHOT_QELCONFIGBUILDER_H

#include <cstdio>
#include <memory>
#include <string>

class QELProgressCollection;
class QELSystem;
class System;

class QELConfigBuilder {
public:
    explicit QELConfigBuilder(std::string newFileName);
    ~QELConfigBuilder();
    QELConfigBuilder(const QELConfigBuilder&) = delete;
    QELConfigBuilder& operator=(const QELConfigBuilder&) = delete;

    // Replaces the tree by copies of both, the tasks last. Null counts as empty; neither is kept.
    void build(System* liveSystem, QELProgressCollection* progress);

    // Replaces the tree by the one in the file. Reading stops at the first byte 0xff, which no
    // snapshot contains.
    void readXML();

    // Writes the tree, or an empty one when there is none, and destroys it.
    void writeXML();

    // Closes a stream that is still open and goes on with another file.
    void resetConfigFile(std::string newFileName);

    // What was wrong with the file that readXML() read last, to follow "the file ..."; null when
    // nothing was, also when there was no file. A changed byte inside is not noticed.
    char const* damage() const { return damaged; }

    // Null before the first build() or readXML() and after writeXML().
    QELSystem* getSystem() const { return system.get(); }

private:
    void readContents();
    void readWhole();
    void writeContents(char const* text, unsigned int length);
    void closeFile();
    void destroyTree();

    std::string contents;  // as last read; the parser cuts it to pieces
    std::unique_ptr<QELSystem> system;
    std::string fileName;
    std::FILE* file = nullptr;  // ours while a call reads or writes
    char const* damaged = nullptr;
};

#endif  // SNAPSHOT_QELCONFIGBUILDER_H
