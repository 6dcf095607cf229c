#ifndef VARNO_DEVICE_PROBE_H
#define VARNO_DEVICE_PROBE_H

// One request after the other to a host: echo requests (ICMP, by sockets that need no
// privilege) or, where the system does not allow these, connections, which the host answers
// or refuses. Nothing here waits.

#include <cstddef>
#include <cstdint>

#include <netdb.h>
#include <sys/socket.h>

namespace device {

class Probe {
  public:
    Probe() = default;
    ~Probe();
    Probe(const Probe &) = delete;
    Probe &operator=(const Probe &) = delete;

    // To an internet address; before the first request.
    void aim(const sockaddr *address, socklen_t len);
    // Its address in digits.
    const char *name() const { return name_; }

    // Sends the number-th request; what the one before it was answered is lost. bytes: of data,
    // where it is an echo request. Returns: 0, or why it could not, as errno has it.
    int send(uint16_t number, size_t bytes);

    bool is_waiting() const { return socket_ >= 0; }
    bool is_echo() const { return is_echo_; }
    // What is ready when there may be an answer: to read, of an echo; else to write.
    int socket() const { return socket_; }
    // Returns: 0: the host has answered; EAGAIN: not yet; else why it will not.
    int answer() const;
    void give_up();

  private:
    int send_echo(size_t bytes) const;
    int connect() const;

    sockaddr_storage address_ = {};
    socklen_t address_len_ = 0;
    char name_[NI_MAXHOST] = "";
    int socket_ = -1;
    bool is_echo_ = false;
    uint16_t number_ = 0; // in network order
};

} // namespace device

#endif
