// Ret: result of a storage library operation.
//
//   if (lib.getSystemConfig().status != 0) ...   // failed; VantLib::lastError() says why
#ifndef STORLIB_RET_H
#define STORLIB_RET_H

struct Ret {
    static constexpr int kOk = 0;
    static constexpr int kFailed = -1;      // the source could not answer
    static constexpr int kNotFound = -2;    // there is no such controller or object
    static constexpr int kBadAddress = -3;  // the address names nothing that could exist

    int status = kOk;  // 0 on success, a negative constant above otherwise
    int detail = 0;    // errno of the cause where there is one, else 0
};

#endif  // STORLIB_RET_H
