#ifndef VARNO_DEVICE_NESTING_H
#define VARNO_DEVICE_NESTING_H

namespace device {

// Counts calls that have not returned, those left by an exception not among them.
class Nesting {
  public:
    explicit Nesting(int &depth) : depth_(depth) { depth_++; }
    ~Nesting() { depth_--; }
    Nesting(const Nesting &) = delete;
    Nesting &operator=(const Nesting &) = delete;

  private:
    int &depth_;
};

} // namespace device

#endif
