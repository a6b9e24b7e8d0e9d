// The owner of a configuration tree.
#pragma once

#include <memory>

#include "platform/kvtree.h"

namespace rfcd {

struct cfg_deleter {
    void operator()(cfg_tree* tree) const { cfg_release(tree); }
};

using cfg_ptr = std::unique_ptr<cfg_tree, cfg_deleter>;

}  // namespace rfcd
