// One event into the queue and out again, counted in pairs of semaphore operations.
#include <sched.h>
#include <sys/ipc.h>
#include <sys/sem.h>

#include <chrono>
#include <mutex>
#include <thread>

#include "benchmarks/Contests.h"
#include "events/QELEventCollection.h"

namespace {

class Semaphore {
public:
    Semaphore() : identifier(semget(IPC_PRIVATE, 1, 0600)) { step(1); }
    ~Semaphore() { (void)semctl(identifier, 0, IPC_RMID); }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void pair() {
        step(-1);
        step(1);
    }

private:
    void step(short by) {
        sembuf operation{0, by, 0};
        (void)semop(identifier, &operation, 1);
    }

    int identifier;
};

QELEvent sampleEvent() {
    return QELEvent(401, 1, "Physical drive failed on controller 1, channel 2, device 3.",
                    "EVENT_TORVEX_PD_STATE_FAILED");
}

std::unique_ptr<Contest> makeAlone() {
    auto contest = std::make_unique<Contest>();
    auto queue = std::make_shared<QELEventCollection>("", 200, kEventAll);
    contest->add("ours", loop([queue, event = sampleEvent()] {
                     queue->addEvent(event);
                     keep(queue->getEvents(1).data());
                 }));
    auto semaphore = std::make_shared<Semaphore>();
    contest->add("semop", loop([=] { semaphore->pair(); }));
    auto mutex = std::make_shared<std::mutex>();
    contest->add("mutex", loop([=] {
                     mutex->lock();
                     keep(mutex.get());
                     mutex->unlock();
                 }));
    return contest;
}

// Two threads need both cores: the rest of the program is pinned to one.
class AllCores {
public:
    AllCores() {
        (void)sched_getaffinity(0, sizeof before, &before);
        cpu_set_t all;
        CPU_ZERO(&all);
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) CPU_SET(cpu, &all);
        (void)sched_setaffinity(0, sizeof all, &all);
    }
    ~AllCores() { (void)sched_setaffinity(0, sizeof before, &before); }
    AllCores(const AllCores&) = delete;
    AllCores& operator=(const AllCores&) = delete;

private:
    cpu_set_t before;
};

double produceAndDrain(QELEventCollection& queue, long events) {
    const AllCores cores;
    const QELEvent event = sampleEvent();
    const auto start = std::chrono::steady_clock::now();
    std::thread producer([&] {
        for (long i = 0; i < events; ++i) queue.addEvent(event);
    });
    for (long taken = 0; taken < events;) {
        taken += static_cast<long>(queue.getEvents(1).size());
    }
    producer.join();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
        .count();
}

std::unique_ptr<Contest> makeTogether() {
    auto contest = std::make_unique<Contest>();
    auto queue = std::make_shared<QELEventCollection>("", 100000000, kEventAll);
    constexpr long kEvents = 1000;  // so many that starting the thread does not count
    contest->add(
        "ours", [queue](long times) { return produceAndDrain(*queue, times * kEvents); }, kEvents);
    auto semaphore = std::make_shared<Semaphore>();
    contest->add("semop", loop([=] { semaphore->pair(); }));
    return contest;
}

}  // namespace

void addQueueContests(Contests& contests) {
    contests.push_back({"queue/alone", makeAlone});
    contests.push_back({"queue/together", makeTogether});
}
