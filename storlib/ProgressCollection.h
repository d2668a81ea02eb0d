// ProgressCollection: the tasks that a query found, in the controller's order.
#ifndef STORLIB_PROGRESSCOLLECTION_H
#define STORLIB_PROGRESSCOLLECTION_H

#include <vector>

#include "storlib/Progress.h"

class ProgressCollection {
public:
    void addProgress(const Progress& task) { tasks.push_back(task); }
    int getProgressCount() const { return static_cast<int>(tasks.size()); }
    // Null when there are not so many. Borrowed: valid until the collection changes.
    const Progress* getProgress(int index) const {
        const auto place = static_cast<unsigned long>(index);
        return index >= 0 && place < tasks.size() ? &tasks[place] : nullptr;
    }

private:
    std::vector<Progress> tasks;
};

#endif  // STORLIB_PROGRESSCOLLECTION_H
