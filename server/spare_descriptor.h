#ifndef VARNO_SERVER_SPARE_DESCRIPTOR_H
#define VARNO_SERVER_SPARE_DESCRIPTOR_H

// Accepting clients when the process may have no more descriptors: one is kept for that,
// for all threads.

#include <functional>
#include <mutex>

namespace varno {

class SpareDescriptor {
  public:
    SpareDescriptor();
    ~SpareDescriptor();
    SpareDescriptor(const SpareDescriptor &) = delete;
    SpareDescriptor &operator=(const SpareDescriptor &) = delete;

    // Takes the next client of a listening socket. A client that only the spare has room
    // for is handed to refuse, which closes it.
    // Returns: a descriptor; -1 with errno: EAGAIN when nobody waits, what is_shortage
    //          knows when nobody can be taken at the moment, anything else for a client
    //          that is dealt with.
    int take_client(int socket, const std::function<void(int)> &refuse);

    static bool is_shortage(int error);

  private:
    bool take();
    void give_up();

    std::mutex mutex_;
    int descriptor_ = -1;
};

} // namespace varno

#endif
