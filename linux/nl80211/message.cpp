#include "nl80211/message.h"

#include <netlink/attr.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>

namespace nl80211 {

void request::free_message::operator()(nl_msg* message) const { nlmsg_free(message); }

request::request(int command, kind of_kind)
    : command_(command), kind_(of_kind), message_(nlmsg_alloc()) {
    // The connection replaces the family, which only it knows.
    const int flags = of_kind == kind::dump ? NLM_F_DUMP : 0;
    whole_ = message_ && genlmsg_put(message_.get(), NL_AUTO_PORT, NL_AUTO_SEQ, 0, 0, flags,
                                     static_cast<std::uint8_t>(command), 0) != nullptr;
}

request& request::put_u32(int attribute, std::uint32_t value) {
    whole_ = whole_ && nla_put_u32(message_.get(), attribute, value) == 0;
    return *this;
}

request& request::put_flag(int attribute) {
    whole_ = whole_ && nla_put_flag(message_.get(), attribute) == 0;
    return *this;
}

request& request::put_list_of_one_empty(int attribute) {
    nlattr* const list = whole_ ? nla_nest_start(message_.get(), attribute) : nullptr;
    whole_ = list != nullptr && nla_put(message_.get(), 1, 0, nullptr) == 0;
    if (whole_) nla_nest_end(message_.get(), list);
    return *this;
}

request& request::put_u32_list(int attribute, std::span<const std::uint32_t> values) {
    nlattr* const list = whole_ ? nla_nest_start(message_.get(), attribute) : nullptr;
    whole_ = list != nullptr;
    int number = 0;
    for (const auto value : values) put_u32(++number, value);
    if (whole_) nla_nest_end(message_.get(), list);
    return *this;
}

const nlattr* attributes::find(int attribute) const {
    return length_ > 0 ? nla_find(first_, length_, attribute) : nullptr;
}

std::span<const std::uint8_t> attributes::bytes(int attribute) const {
    const nlattr* const found = find(attribute);
    if (found == nullptr) return {};
    return {static_cast<const std::uint8_t*>(nla_data(found)),
            static_cast<std::size_t>(nla_len(found))};
}

std::string attributes::text(int attribute) const {
    const auto field = bytes(attribute);
    std::string value(field.begin(), field.end());
    if (!value.empty() && value.back() == '\0') value.pop_back();
    return value;
}

attributes attributes::nest(int attribute) const {
    const nlattr* const found = find(attribute);
    if (found == nullptr) return {nullptr, 0};
    return {static_cast<const nlattr*>(nla_data(found)), nla_len(found)};
}

void attributes::for_each_nest(const std::function<void(const attributes&)>& visit) const {
    const nlattr* at = first_;
    int left = length_;
    while (at != nullptr && nla_ok(at, left) != 0) {
        visit({static_cast<const nlattr*>(nla_data(at)), nla_len(at)});
        at = nla_next(at, &left);
    }
}

}  // namespace nl80211
