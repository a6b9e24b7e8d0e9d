#include "platform/kvtree.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using tree = std::unique_ptr<cfg_tree, decltype(&cfg_release)>;

tree parse(const std::string& text) { return {cfg_parse_buffer(text.c_str()), &cfg_release}; }

TEST(Kvtree, CopiesWhatIsInserted) {
    const auto root = parse(R"({"params":{"path":"/a/b"}})");
    cfg_tree* child = cfg_get_child(root.get(), "params");

    EXPECT_EQ(cfg_insert_child(root.get(), "copy", child), 0);
    EXPECT_EQ(cfg_set_param(child, "path", "/changed"), 0);

    EXPECT_STREQ(cfg_serialize_compact(root.get()),
                 R"({"params":{"path":"/changed"},"copy":{"path":"/a/b"}})");
}

TEST(Kvtree, TextsThatAreNoTree) {
    for (const char* text : {"", " ", "{", "5", "\"x\"", "null", "{} more", "{\"a\":}", "[1,2"}) {
        EXPECT_FALSE(parse(text)) << text;
    }
    EXPECT_FALSE(parse(std::string(10'000, '[')));
    EXPECT_EQ(cfg_parse_buffer(nullptr), nullptr);
    EXPECT_TRUE(parse(" {} \n"));
    EXPECT_TRUE(parse("[]"));
}

}  // namespace
