// Owns a configuration tree, such as a request to a local daemon or the answer to it, and releases
// the tree when it goes out of scope. One thread at a time may use the tree.
#pragma once

#include <memory>

#include "platform/kvtree.h"

namespace rfcd {

struct cfg_deleter {
    void operator()(cfg_tree* tree) const { cfg_release(tree); }
};

using cfg_ptr = std::unique_ptr<cfg_tree, cfg_deleter>;

}  // namespace rfcd
