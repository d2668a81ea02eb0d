// IdleMemory: keeps small what the daemon holds while nothing happens. It stands for years on
// machines that have better use for memory.
//
//   limitHeap();       // before the first thread: one heap for all, which is given back early
//   giveBackMemory();  // when the start is over
//
// giveBackMemory() also unmaps code and constants that only the start needed. They stay in the file
// cache, and what is needed again is back at its first use. Errors: none; any thread.
#ifndef AGENT_DAEMON_IDLEMEMORY_H
#define AGENT_DAEMON_IDLEMEMORY_H

void limitHeap();
void giveBackMemory();

#endif  // AGENT_DAEMON_IDLEMEMORY_H
