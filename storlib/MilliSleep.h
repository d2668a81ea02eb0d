// MilliSleep: puts the calling thread to sleep for `milliseconds`, also across signals.
// 0 or less returns at once.
#ifndef STORLIB_MILLISLEEP_H
#define STORLIB_MILLISLEEP_H

void MilliSleep(long milliseconds);

#endif  // STORLIB_MILLISLEEP_H
