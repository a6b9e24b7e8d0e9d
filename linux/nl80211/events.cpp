#include "nl80211/events.h"

#include <linux/nl80211.h>
#include <netlink/errno.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>

namespace nl80211 {

namespace {

int accept_any_sequence(nl_msg* /*message*/, void* /*argument*/) { return NL_OK; }

int take_event(nl_msg* message, void* argument) {
    const auto* const header = static_cast<const genlmsghdr*>(nlmsg_data(nlmsg_hdr(message)));
    const attributes all(genlmsg_attrdata(header, 0), genlmsg_attrlen(header, 0));

    const auto& receive = *static_cast<const std::function<void(const event&)>*>(argument);
    receive({.command = header->cmd,
             .wiphy = all.number<std::uint32_t>(NL80211_ATTR_WIPHY),
             .interface_index = all.number<std::uint32_t>(NL80211_ATTR_IFINDEX)});
    return NL_OK;
}

}  // namespace

std::unique_ptr<events> events::open(std::initializer_list<const char*> groups) {
    socket_ptr socket(nl_socket_alloc());
    if (!socket || genl_connect(socket.get()) < 0) return nullptr;

    for (const char* name : groups) {
        const int group = genl_ctrl_resolve_grp(socket.get(), "nl80211", name);
        if (group < 0 || nl_socket_add_membership(socket.get(), group) < 0) return nullptr;
    }
    if (nl_socket_set_nonblocking(socket.get()) < 0) return nullptr;
    return std::unique_ptr<events>(new events(std::move(socket)));
}

int events::descriptor() const { return nl_socket_get_fd(socket_.get()); }

bool events::read(const std::function<void(const event&)>& receive) {
    auto* const argument = const_cast<std::function<void(const event&)>*>(&receive);
    nl_socket_disable_seq_check(socket_.get());
    nl_socket_modify_cb(socket_.get(), NL_CB_SEQ_CHECK, NL_CB_CUSTOM, accept_any_sequence, nullptr);
    nl_socket_modify_cb(socket_.get(), NL_CB_VALID, NL_CB_CUSTOM, take_event, argument);

    while (true) {
        const int result = nl_recvmsgs_default(socket_.get());
        if (result == -NLE_NOMEM) return false;  // how libnl names the kernel's ENOBUFS
        if (result < 0) return true;             // nothing more to read
    }
}

}  // namespace nl80211
