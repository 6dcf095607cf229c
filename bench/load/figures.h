#ifndef VARNO_BENCH_FIGURES_H
#define VARNO_BENCH_FIGURES_H

// What the kernel says of a process and of the machine, from /proc.

#include <cstdint>

#include <sys/types.h>

namespace varno_load {

struct ProcessorTime {
    double seconds = 0;          // of a process, all its threads
    double user = 0, kernel = 0; // the same in the scheduler's coarser ticks
};

struct MachineTime {
    double idle = 0, all = 0; // of all processors together
};

struct Memory {
    double process = 0; // KiB: the process's share of its resident pages
    double kernel = 0;  // KiB: the machine's kernel objects and socket buffers
};

// What cannot be read counts nothing.
ProcessorTime processor_time(pid_t process);
MachineTime machine_time();
Memory memory(pid_t process);

} // namespace varno_load

#endif
