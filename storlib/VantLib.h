// VantLib: the plug-in handle of the Vant family. It reads from one ConfigSource.
//
//   std::string error;
//   std::unique_ptr<VantLib> lib = VantLib::open("linux:/", error);
//   if (!lib) std::cerr << error << '\n';
//   lib->getSystemConfig();
//
// Ownership  The library owns its source and one reference to the last tree. Threads: one at a
//            time. Errors: a Ret, and lastError() for people.
#ifndef STORLIB_VANTLIB_H
#define STORLIB_VANTLIB_H

#include <memory>
#include <string>

#include "storlib/LDTree.h"
#include "storlib/RefSystem.h"
#include "storlib/StorLibPlugin.h"

class ConfigSource;

class VantLib : public StorLibPlugin {
public:
    explicit VantLib(std::unique_ptr<ConfigSource> source);
    ~VantLib() override;
    VantLib(const VantLib&) = delete;
    VantLib& operator=(const VantLib&) = delete;

    // Makes a source by name, "kind" or "kind:argument" (see SourceRegistry). Null when the kind
    // is unknown or its argument cannot be used; `error` is then one line that names the cure.
    static std::unique_ptr<VantLib> open(const std::string& name, std::string& error);

    Ret getSystemConfig() override;
    System* getSystem() const override { return system.get(); }
    Ret getEvents(const Addr& controller, long firstSequence, char*& buffer) override;
    Ret getTasks(const Addr& address, ProgressCollection& tasks) override;

    // The library path of `address`; fails when it names no controller.
    virtual Ret getPath(const Addr& address, _LDTree& path);

    ConfigSource& getSource() { return *source; }
    std::string lastError() const;

private:
    std::unique_ptr<ConfigSource> source;
    RefSystem system;  // the last good reading
};

#endif  // STORLIB_VANTLIB_H
