// VantAdapter: an adapter of the Vant family. Its logical drives count their size in megabytes.
#ifndef STORLIB_VANTADAPTER_H
#define STORLIB_VANTADAPTER_H

#include "storlib/Adapter.h"

class VantAdapter : public Adapter {
public:
    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
};

#endif  // STORLIB_VANTADAPTER_H
