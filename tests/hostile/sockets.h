#ifndef VARNO_TESTS_SOCKETS_H
#define VARNO_TESTS_SOCKETS_H

namespace varno_test {

// A blocking connection to a port of 127.0.0.1, with as small a buffer of received bytes
// as asked for, or 0. Returns: -1 when it is refused.
int connect_to(int port, int receive_buffer = 0);

} // namespace varno_test

#endif
