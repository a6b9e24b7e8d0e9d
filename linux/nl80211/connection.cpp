#include "nl80211/connection.h"

#include <netlink/errno.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <poll.h>

#include <cerrno>

namespace nl80211 {

namespace {

using clock = std::chrono::steady_clock;

// What is known about the answer to a request while its messages arrive.
struct answer {
    const connection::receiver* receive;
    std::uint32_t sequence;
    bool complete = false;
    bool interrupted = false;  // the list changed meanwhile; the rest of it still arrives
    int error = 0;
};

answer& answer_of(void* argument) { return *static_cast<answer*>(argument); }

// Messages that belong to an earlier request, which ran out of time, are skipped.
int check_sequence(nl_msg* message, void* argument) {
    const bool ours = nlmsg_hdr(message)->nlmsg_seq == answer_of(argument).sequence;
    return ours ? static_cast<int>(NL_OK) : static_cast<int>(NL_SKIP);
}

int take_message(nl_msg* message, void* argument) {
    const auto* const header = static_cast<const genlmsghdr*>(nlmsg_data(nlmsg_hdr(message)));
    const auto& receive = *answer_of(argument).receive;
    if (receive) receive({genlmsg_attrdata(header, 0), genlmsg_attrlen(header, 0)});
    return NL_OK;
}

int take_end(nl_msg* /*message*/, void* argument) {
    answer_of(argument).complete = true;
    return NL_STOP;
}

int take_error(sockaddr_nl* /*from*/, nlmsgerr* error, void* argument) {
    answer_of(argument).complete = true;
    answer_of(argument).error = error->error;
    return NL_STOP;
}

struct free_callbacks {
    void operator()(nl_cb* callbacks) const { nl_cb_put(callbacks); }
};
using callbacks_ptr = std::unique_ptr<nl_cb, free_callbacks>;

callbacks_ptr callbacks_for(answer& of_request) {
    callbacks_ptr callbacks(nl_cb_alloc(NL_CB_DEFAULT));
    if (!callbacks) return nullptr;
    nl_cb_set(callbacks.get(), NL_CB_SEQ_CHECK, NL_CB_CUSTOM, check_sequence, &of_request);
    nl_cb_set(callbacks.get(), NL_CB_VALID, NL_CB_CUSTOM, take_message, &of_request);
    nl_cb_set(callbacks.get(), NL_CB_FINISH, NL_CB_CUSTOM, take_end, &of_request);
    nl_cb_set(callbacks.get(), NL_CB_ACK, NL_CB_CUSTOM, take_end, &of_request);
    nl_cb_err(callbacks.get(), NL_CB_CUSTOM, take_error, &of_request);
    return callbacks;
}

// Waits until the socket can be read or the time is over.
bool is_readable(nl_sock* socket, clock::time_point until) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - clock::now());
    if (left.count() <= 0) return false;
    pollfd wait{.fd = nl_socket_get_fd(socket), .events = POLLIN, .revents = 0};
    return poll(&wait, 1, static_cast<int>(left.count())) > 0 || errno == EINTR;
}

int receive_all(nl_sock* socket, answer& of_request) {
    const auto callbacks = callbacks_for(of_request);
    if (!callbacks) return -ENOMEM;

    const auto until = clock::now() + connection::time_limit;
    while (!of_request.complete) {
        if (!is_readable(socket, until)) return -ETIMEDOUT;
        const int result = nl_recvmsgs(socket, callbacks.get());
        if (result == -NLE_NOMEM) return -ENOBUFS;
        if (result == -NLE_DUMP_INTR) of_request.interrupted = true;
        const bool goes_on = result >= 0 || result == -NLE_AGAIN || result == -NLE_DUMP_INTR;
        if (!goes_on && !of_request.complete) return -EIO;
    }
    return of_request.interrupted && of_request.error == 0 ? -EINTR : of_request.error;
}

}  // namespace

void close_socket::operator()(nl_sock* socket) const { nl_socket_free(socket); }

std::unique_ptr<connection> connection::open() {
    socket_ptr socket(nl_socket_alloc());
    if (!socket || genl_connect(socket.get()) < 0) return nullptr;

    const int family = genl_ctrl_resolve(socket.get(), "nl80211");
    if (family < 0 || nl_socket_set_nonblocking(socket.get()) < 0) return nullptr;
    return std::unique_ptr<connection>(new connection(std::move(socket), family));
}

int connection::ask(const request& question, const receiver& receive) {
    if (!question.is_whole()) return -EMSGSIZE;
    nl_msg* const message = question.message();
    nlmsg_hdr(message)->nlmsg_type = static_cast<std::uint16_t>(family_);
    nlmsg_hdr(message)->nlmsg_seq = NL_AUTO_SEQ;  // a request that is sent again gets a new number
    if (nl_send_auto(socket_.get(), message) < 0) return errno != 0 ? -errno : -EIO;

    answer of_request{.receive = &receive, .sequence = nlmsg_hdr(message)->nlmsg_seq};
    return receive_all(socket_.get(), of_request);
}

}  // namespace nl80211
