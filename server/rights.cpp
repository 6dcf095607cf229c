// What the process may do: another user's rights in the place of those that it began with,
// and how many descriptors there are for sessions.

#include <varno/server.h>

#include <cerrno>

#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <unistd.h>

int server_become(const char *name)
{
    char room[16384];
    passwd entry;
    passwd *user = nullptr;
    if (getpwnam_r(name, &entry, room, sizeof(room), &user) != 0 || !user) {
        errno = ENOENT;
        return -1;
    }
    const bool is_given_up = user->pw_uid != 0 && setgroups(0, nullptr) == 0 &&
                             setgid(user->pw_gid) == 0 && setuid(user->pw_uid) == 0;
    if (is_given_up && setuid(0) != 0 && setgid(0) != 0)
        return 0;
    errno = EPERM;
    return -1;
}

uint64_t server_most_sessions(uint32_t threads)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const uint64_t least = server_least_descriptors(threads);
    return limit.rlim_max > least ? limit.rlim_max - least : 0;
}
