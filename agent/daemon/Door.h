// Door: what one socket of the daemon answers: Requests on a spool connection of its own, which is
// opened when somebody asks for the first time.
//
//   Door door({spoolFile, stateFile, &desk});                 // null desk: read-only
//   const std::string answer = door.answer(line, peer);
//
// Through a door with a desk every request says by whom it is: "by" becomes the name of the user
// at the other end, with what the user gave as his name before it.
//
// Threads  One at a time. Errors: in the answer.
#ifndef AGENT_DAEMON_DOOR_H
#define AGENT_DAEMON_DOOR_H

#include <sys/types.h>

#include <memory>
#include <string>

#include "agent/daemon/Requests.h"
#include "agent/spool/Spool.h"

class Door {
public:
    struct Parts {
        std::string spoolFile;
        std::string stateFile;
        Requests::Changes* changes = nullptr;  // borrowed; null: nothing can be changed here
    };

    explicit Door(Parts partsIN) : parts(std::move(partsIN)) {}

    std::string answer(const std::string& line, uid_t peer);

private:
    std::string signedBy(const std::string& line, uid_t peer) const;

    const Parts parts;
    std::unique_ptr<Spool> spool;
};

#endif  // AGENT_DAEMON_DOOR_H
