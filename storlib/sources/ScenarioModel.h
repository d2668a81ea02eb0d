// ScenarioModel: the simulated machine at one moment: its controllers and all that hangs on them.
//
//   ScenarioModel model(std::move(objects));        // the first moment
//   std::string why;
//   if (!model.remove("drive5", why)) ...           // why: nothing is called so
//   if (auto conflict = model.conflict()) ...       // two drives at one address, ...
//   model.fill(system);
//
// Numbers    An object whose number the file leaves open gets the lowest free one of its list when
//            it comes in, and keeps it; so does the identity of a controller. What is removed and
//            restored comes back as it was.
// Ownership  Owns its objects, removed ones included. Threads: one at a time.
// Errors     An operation that cannot be done answers false, with what is wrong and the cure.
#ifndef STORLIB_SOURCES_SCENARIOMODEL_H
#define STORLIB_SOURCES_SCENARIOMODEL_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "storlib/Addr.h"
#include "storlib/sources/ScenarioObject.h"

class ProgressCollection;
class System;

class ScenarioModel {
public:
    // An object and where it stands. Borrowed: valid until the model changes.
    struct Place {
        ScenarioObject* object = nullptr;
        ScenarioObject* parent = nullptr;
        std::string list;
        std::size_t index = 0;
        unsigned int controllerSerial = 0;  // of the controller that it belongs to
        Addr address;  // of a phy, an element or a task: that of the object which holds it
    };

    // What two objects, or an object and its number, make impossible.
    struct Conflict {
        const ScenarioObject* object;
        std::string what;
    };

    explicit ScenarioModel(std::unique_ptr<ScenarioObject> machine);  // holds "controllers"

    bool set(const std::string& id, const std::map<std::string, ScenarioValue>& fields,
             std::string& why);
    // Adds a copy at the end of a list of the object called `parent`; "" stands for the machine.
    bool add(const std::string& parent, const std::string& list, const ScenarioObject& object,
             std::string& why);
    bool remove(const std::string& id, std::string& why);
    // Puts back what was removed under that name, in its old place.
    bool restore(const std::string& id, std::string& why);

    bool find(const std::string& id, Place& place) const;
    const ScenarioObject::List& controllers() const { return root->list("controllers"); }
    std::optional<Conflict> conflict() const;  // the first one in file order

    void fill(System& system) const;
    void tasksAt(const Addr& address, ProgressCollection& found) const;

private:
    struct Removed {
        std::unique_ptr<ScenarioObject> object;
        unsigned int parentSerial;
        std::string list;
        std::size_t index;
    };

    void settle(ScenarioObject& parent);  // numbers and serials of what is below

    std::unique_ptr<ScenarioObject> root;
    std::map<std::string, Removed> removed;
    unsigned int lastSerial = 0;
};

#endif  // STORLIB_SOURCES_SCENARIOMODEL_H
