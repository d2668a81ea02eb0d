// RefSystem: a counted reference to a System. Copies share the tree; the last one deletes it.
//
//   RefSystem old;
//   old.Set(library.getSystem());   // the tree now outlives the library's next reading
//
// The count is atomic; the tree itself is not (see RaidObject).
#ifndef STORLIB_REFSYSTEM_H
#define STORLIB_REFSYSTEM_H

class System;

class RefSystem {
public:
    RefSystem() = default;
    explicit RefSystem(System* newSystem) { Set(newSystem); }
    RefSystem(const RefSystem& other) { Set(other.system); }
    RefSystem& operator=(const RefSystem& other) {
        Set(other.system);
        return *this;
    }
    ~RefSystem() { Set(nullptr); }

    void Set(System* newSystem);  // null lets go
    System* get() const { return system; }
    System* operator->() const { return system; }

private:
    System* system = nullptr;
};

#endif  // STORLIB_REFSYSTEM_H
