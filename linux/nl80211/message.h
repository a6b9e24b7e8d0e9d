// The two halves of a conversation with nl80211: the request that is built, and the attributes that
// are read from an answer. Commands and attributes have the numbers of <linux/nl80211.h>. Plain
// objects for one thread.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

struct nl_msg;
struct nlattr;

namespace nl80211 {

// A request for one command. The connection completes and sends it.
class request {
  public:
    enum class kind { single, dump };  // a dump asks for a list of messages

    explicit request(int command, kind of_kind = kind::single);

    request& put_u32(int attribute, std::uint32_t value);
    request& put_flag(int attribute);
    // Puts an attribute that contains an empty one: the list with one SSID that is the wildcard.
    request& put_list_of_one_empty(int attribute);
    request& put_u32_list(int attribute, std::span<const std::uint32_t> values);

    int command() const { return command_; }
    kind of_kind() const { return kind_; }
    // False when the attributes did not fit into the message.
    bool is_whole() const { return whole_; }
    nl_msg* message() const { return message_.get(); }

  private:
    struct free_message {
        void operator()(nl_msg* message) const;
    };

    int command_;
    kind kind_;
    bool whole_;
    std::unique_ptr<nl_msg, free_message> message_;
};

// The attributes of a message or of a nest. They point into the message, and live as long as it
// does. An attribute that is missing or too short for its type reads as null.
class attributes {
  public:
    attributes(const nlattr* first, int length) : first_(first), length_(length) {}

    bool has(int attribute) const { return find(attribute) != nullptr; }
    template <typename Number>
    std::optional<Number> number(int attribute) const {
        const auto field = bytes(attribute);
        if (field.size() < sizeof(Number)) return std::nullopt;
        Number value;
        std::memcpy(&value, field.data(), sizeof value);
        return value;
    }
    std::span<const std::uint8_t> bytes(int attribute) const;
    // Without the terminating zero byte that the kernel adds to most texts.
    std::string text(int attribute) const;
    // Empty when the attribute is missing.
    attributes nest(int attribute) const;
    // Calls `visit` with the attributes of each nest in here, in order.
    void for_each_nest(const std::function<void(const attributes&)>& visit) const;

  private:
    const nlattr* find(int attribute) const;

    const nlattr* first_;
    int length_;
};

}  // namespace nl80211
