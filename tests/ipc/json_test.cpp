#include <gtest/gtest.h>

#include "harness/fakes/fake_log.h"
#include "ipc/json_reader.h"
#include "ipc/json_writer.h"
#include "main/logging.h"

namespace rfcd {
namespace {

TEST(JsonReader, ConvertsMembers) {
    const json_reader reader(R"({"n":-7,"big":99999999999,"s":"12","t":true,"z":null,"o":{"k":1},
                                 "x":"a/b"})");
    const struct {
        const char* key;
        int number = 0;
        const char* text = nullptr;
        bool contained = true;
    } rows[] = {
        {.key = "n", .number = -7, .text = "-7"},
        {.key = "big", .number = 2147483647, .text = "99999999999"},
        {.key = "s", .number = 12, .text = "12"},
        {.key = "t", .number = 1, .text = "true"},
        {.key = "z"},
        {.key = "missing", .contained = false},
        {.key = "x", .text = "a/b"},
        {.key = "o", .text = R"({ "k": 1 })"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.key);
        EXPECT_EQ(reader.get_int(row.key), row.number);
        EXPECT_STREQ(reader.get_string(row.key), row.text);
        EXPECT_EQ(reader.contains(row.key), row.contained);
    }
}

TEST(JsonReader, ViewsOfObjectsAndArrays) {
    const json_reader reader(R"({"list":[10,null,{"k":"v"}],"object":{"0":1}})");
    const auto list = reader.get_object("list");

    EXPECT_EQ(list.array_length(), 3);
    EXPECT_TRUE(list.get_array_item(1).empty());
    EXPECT_STREQ(list.get_array_item(2).get_string("k"), "v");
    for (const int index : {-1, 3, 2147483647}) EXPECT_TRUE(list.get_array_item(index).empty());

    EXPECT_EQ(reader.get_object("object").array_length(), 0);
    EXPECT_TRUE(reader.get_object("object").get_array_item(0).empty());
    EXPECT_TRUE(reader.get_object("none").empty());
    EXPECT_TRUE(list.get_object("of an array").empty());
    EXPECT_EQ(reader.get_object("none").get_object("deeper").get_int("k"), 0);
}

TEST(JsonReader, TextsThatGiveNoMessage) {
    const std::string deep(10'000, '[');
    const std::string cut("{\"a\":1,\0\"b\":2}", 14);
    const std::vector<const char*> rows{nullptr, "",           " ",        "{",        "not json",
                                        "null",  deep.c_str(), "{\"a\":}", cut.c_str()};

    for (const char* text : rows) {
        const json_reader reader(text);
        EXPECT_TRUE(reader.empty()) << (text == nullptr ? "null" : text);
        EXPECT_EQ(reader.get_int("a"), 0);
        EXPECT_EQ(reader.get_string("a"), nullptr);
        EXPECT_EQ(reader.array_length(), 0);
    }
}

// Empty objects: each has two bytes of text and takes hundreds of bytes of memory.
TEST(JsonReader, RefusesWhatWouldTakeTooMuchMemory) {
    const auto list = [](int count) {
        std::string text = R"({"a":1,"list":[{})";
        for (int i = 1; i < count; ++i) text += ",{}";
        return text + R"(],"text":"[[,{\"{,"})";
    };

    EXPECT_EQ(json_reader(list(100'000).c_str()).get_int("a"), 1);
    fake_log::reset(log_mask_error);
    EXPECT_TRUE(json_reader(list(300'000).c_str()).empty());
    EXPECT_EQ(fake_log::take(),
              "error json: a message of 900034 bytes is refused, its values would take more than "
              "128 MiB of memory\n");

    for (const char* unseen : {"/*\"*/", "//\"\n", "/***/\"*/"}) {
        EXPECT_TRUE(json_reader((unseen + list(300'000)).c_str()).empty())
            << "a quote that begins no string: " << unseen;
    }

    const std::string harmless = R"({"a":1,"text":")" + std::string(1'000'000, '{') + "\"}";
    EXPECT_EQ(json_reader(harmless.c_str()).get_int("a"), 1) << "brackets in strings cost nothing";
}

TEST(JsonReader, ReadsTwentyMegabytes) {
    const std::string text = R"({"a":")" + std::string(20'000'000, 'x') + R"(","b":5})";
    EXPECT_EQ(json_reader(text.c_str()).get_int("b"), 5);
}

TEST(JsonWriter, Envelope) {
    EXPECT_EQ(json_writer("", "", "").text(), R"({"version":"2.4"})");
    EXPECT_EQ(json_writer("fbt", "", "").text(), R"({"version":"2.4","service":"fbt"})");
    EXPECT_EQ(json_writer("rrm", "x", "00:11").text(),
              R"({"version":"2.4","service":"rrm","cmd":"x","ap-mac":"00:11"})");
    EXPECT_EQ(json_writer(nullptr, "x", nullptr).text(), R"({"version":"2.4","cmd":"x"})");
}

TEST(JsonWriter, ChildrenStayInTheirRoot) {
    json_writer root("s", "", "");
    root.add_int("n", -5);
    root.add_string("path", "a/b");
    {
        auto list = root.add_array("list");
        list.add_string("ignored", "a");
        list.add_int("", 2);
        auto item = list.add_object("ignored too");
        item.add_int("k", 1);
        auto empty = list.add_array();
        list.add_string("", "behind its children");
    }
    root.add_int("n", 6);
    EXPECT_EQ(root.text(), R"({"version":"2.4","service":"s","n":6,"path":"a\/b",)"
                           R"("list":["a",2,{"k":1},[],"behind its children"]})");
}

}  // namespace
}  // namespace rfcd
