#ifndef VARNO_SERVER_PROXY_HEADER_H
#define VARNO_SERVER_PROXY_HEADER_H

// What a proxy says of its client before the client's own bytes: the PROXY protocol's
// version 2, in binary.

#include <cstddef>
#include <cstdint>

#include <sys/socket.h>

namespace varno {

class ProxyHeader {
  public:
    // The longest that is taken; what is no address in it is passed over.
    static constexpr size_t most = 4096;

    // Returns: how many bytes it wants at this point; 0 once it is whole. What comes after
    //          it is the client's.
    size_t wanted() const { return whole_ - taken_; }

    // Takes the next bytes, at most so many. Returns: false when this is no such header;
    // the object is of no use then.
    bool take(const unsigned char *bytes, size_t count);

    // Of a whole header.
    // Returns: false when the proxy speaks for itself, or does not know its client.
    bool has_client() const { return client_.ss_family != AF_UNSPEC; }
    const sockaddr_storage &client() const { return client_; }

  private:
    static constexpr size_t fixed = 16; // signature, command, family, and how much follows
    static constexpr size_t addresses = 36;

    bool take_byte(unsigned char byte);
    bool take_fixed_part();
    void read_client();

    size_t taken_ = 0;
    size_t whole_ = fixed;
    unsigned char bytes_[fixed + addresses] = {};
    sockaddr_storage client_ = {};
};

} // namespace varno

#endif
