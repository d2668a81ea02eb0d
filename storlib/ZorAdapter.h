// ZorAdapter: an adapter of the Zor family. Its logical drives count their size in 512-byte blocks,
// and its SES-2 enclosures are believed even when they do not mark their data as valid.
#ifndef STORLIB_ZORADAPTER_H
#define STORLIB_ZORADAPTER_H

#include "storlib/Adapter.h"

class ZorAdapter : public Adapter {
public:
    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
};

#endif  // STORLIB_ZORADAPTER_H
