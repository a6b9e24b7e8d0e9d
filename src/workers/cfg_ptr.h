// The owner of a configuration tree, such as a request to a local daemon or its answer. It goes
// with its tree, which is used by one thread at a time.
#pragma once

#include <memory>

#include "platform/kvtree.h"

namespace rfcd {

struct cfg_deleter {
    void operator()(cfg_tree* tree) const { cfg_release(tree); }
};

using cfg_ptr = std::unique_ptr<cfg_tree, cfg_deleter>;

}  // namespace rfcd
