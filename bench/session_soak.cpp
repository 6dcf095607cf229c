// Opens, uses and closes telnet sessions one after the other, and says what the
// process holds before and after: nothing may grow.
//   varno_session_soak [COUNT]

#include <cstdio>
#include <cstdlib>

#include <varno/platform_default.h>
#include <varno/tsession.h>

#include <malloc.h>
#include <unistd.h>

namespace {

constexpr char typed[] = "show version\r\xff\xfb\x1f\xff\xfa\x1f\0\x50\0\x18\xff\xf0"
                         "\x1b[A\x1b[A\x01\x05 more words\r\x10\x10\x03";

void drop(tsession_s *, void *, const char *, size_t) {}

long resident_kib()
{
    long pages = 0;
    long resident = 0;
    FILE *file = std::fopen("/proc/self/statm", "r");
    if (file && std::fscanf(file, "%ld %ld", &pages, &resident) != 2)
        resident = 0;
    if (file)
        std::fclose(file);
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void open_use_close(tsession_shared_s *shared, long count)
{
    tsession_config_s config = TSESSION_CONFIG_INIT;
    config.transport = TSESSION_TELNET;
    config.shared = shared;
    config.output = drop;
    for (long i = 0; i < count; i++) {
        tsession_s *s = tsession_create(&config);
        if (!s)
            std::abort();
        tsession_start(s);
        tsession_input(s, typed, sizeof(typed) - 1);
        tsession_free(s);
    }
}

void report(const char *when)
{
    std::printf("%-22s %8zu blocks  %10zu bytes  %8ld KiB resident\n", when,
                tracked_outstanding(nullptr), mallinfo2().uordblks, resident_kib());
}

} // namespace

int main(int argc, char **argv)
{
    const long count = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 100000;
    tsession_shared_s *shared = tsession_shared_create();
    open_use_close(shared, 100);
    report("after 100 sessions");
    open_use_close(shared, count);
    std::printf("%ld more sessions\n", count);
    report("then");
    tsession_shared_free(shared);
}
