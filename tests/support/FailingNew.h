// FailingNew: lets chosen allocations of this thread fail, so that running out of memory can be
// staged. Not under sanitizers, which keep their own allocation functions: skip the test there.
//
//   if (!FailingNew::available()) GTEST_SKIP() << "NOT TESTED: ...";
//   FailingNew failing(2);            // two allocations succeed, all others fail
//   writer.append(text);
#ifndef TESTS_SUPPORT_FAILINGNEW_H
#define TESTS_SUPPORT_FAILINGNEW_H

class FailingNew {
public:
    static bool available();

    explicit FailingNew(int successes);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};

#endif  // TESTS_SUPPORT_FAILINGNEW_H
