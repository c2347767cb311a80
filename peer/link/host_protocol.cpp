// Messages with files over a socket of packets.
#include "peer/link/host_protocol.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qv::peer {

bool sendMessage(int socket, const void* first, uint32_t firstBytes, const void* second, uint32_t secondBytes, int fd) {
  iovec parts[2] = {{const_cast<void*>(first), firstBytes}, {const_cast<void*>(second), secondBytes}};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = secondBytes == 0 ? 1 : 2;
  if (fd >= 0) {
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* const head = CMSG_FIRSTHDR(&message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = SCM_RIGHTS;
    head->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(head), &fd, sizeof fd);
  }
  ssize_t sent = 0;
  do {
    sent = sendmsg(socket, &message, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent == static_cast<ssize_t>(uint64_t{firstBytes} + secondBytes);
}

uint32_t receiveMessage(int socket, void* to, uint32_t room, int& fd) {
  fd = -1;
  iovec part{to, room};
  // Room for more files than a message may have, so that extra ones can be closed.
  alignas(cmsghdr) char control[CMSG_SPACE(8 * sizeof(int))] = {};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  ssize_t received = 0;
  do {
    received = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
  } while (received < 0 && errno == EINTR);
  for (cmsghdr* head = CMSG_FIRSTHDR(&message); head != nullptr; head = CMSG_NXTHDR(&message, head)) {
    if (head->cmsg_level != SOL_SOCKET || head->cmsg_type != SCM_RIGHTS) continue;
    const size_t count = (head->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (size_t i = 0; i < count; ++i) {
      int got = -1;
      std::memcpy(&got, CMSG_DATA(head) + i * sizeof got, sizeof got);
      if (fd < 0) {
        fd = got;
      } else {
        close(got);
      }
    }
  }
  return received <= 0 ? 0 : static_cast<uint32_t>(received);
}

}  // namespace qv::peer
