// What the scripted library and the test say to each other over their socket.
//
// Every frame is one byte of kind, four bytes of length in host order, and that many bytes of
// text. The two sides take turns: the library reports, and after kAsk (and only then) it reads
// orders until one of them answers the receive call.
#pragma once

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// From the library.
constexpr char kTold = 't';       // text: at load time "armcap=<OPENSSL_armcap> zlib=<0|1>", then
                                  // "verbosity <level>", "callback <level>", "create <client id>"
constexpr char kSent = 's';       // text: "<client id> <request>"
constexpr char kAsk = 'a';        // text: the timeout; receive now waits for an answer
constexpr char kReal = 'r';       // text: what the real library's receive gave; empty: nothing
constexpr char kOrderDone = 'd';  // an order that is no answer was carried out
constexpr char kUnwanted = 'x';   // text: an entry point that must never be called

// To the library. The first three answer the receive call.
constexpr char kObject = 'O';   // text: what receive returns
constexpr char kNothing = 'N';  // receive returns null
constexpr char kAskReal = 'G';  // receive returns what the real library's receive gives
constexpr char kLog = 'L';    // text: "<threads> <lines> <level> <message>": the callback, so many
                              // times on each of so many threads; 0 threads: on this one
constexpr char kFault = 'F';  // text: the name of a fault, see standin.cpp

// False: the other side is gone.
inline bool send_frame(int fd, char kind, std::string_view text) {
  std::string frame(5, kind);
  const auto size = static_cast<std::uint32_t>(text.size());
  std::memcpy(&frame[1], &size, sizeof size);
  frame += text;
  for (std::size_t done = 0; done < frame.size();) {
    const ssize_t n = send(fd, frame.data() + done, frame.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

inline bool receive_bytes(int fd, char* bytes, std::size_t size) {
  while (size != 0) {
    // The thread sanitizer runs a signal's handler during poll, but only after a recv.
    pollfd readable = {fd, POLLIN, 0};
    if (poll(&readable, 1, -1) < 0) continue;
    const ssize_t n = recv(fd, bytes, size, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

inline bool receive_frame(int fd, char& kind, std::string& text) {
  char head[5];
  if (!receive_bytes(fd, head, sizeof head)) return false;
  std::uint32_t size = 0;
  std::memcpy(&size, head + 1, sizeof size);
  kind = head[0];
  text.resize(size);
  return receive_bytes(fd, text.data(), size);
}
