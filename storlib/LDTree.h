// _LDTree: a library path, the way from a controller down to one of its objects. Established name.
// LDPathUtils prints it; VantLib::getPath makes it.
#ifndef STORLIB_LDTREE_H
#define STORLIB_LDTREE_H

struct _LDTree {
    static constexpr int kSteps = 4;

    struct Step {
        char const* kind;     // "c" controller, "a" array, "l" logical drive, "b" bus, "d" device
        unsigned int number;  // counted from 0
    };

    int depth = 0;  // steps in use
    Step steps[kSteps] = {};
};

#endif  // STORLIB_LDTREE_H
