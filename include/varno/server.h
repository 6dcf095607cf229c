#ifndef VARNO_SERVER_H
#define VARNO_SERVER_H

/* A server of terminal sessions: it listens, makes a session for each client and keeps
 * slow, greedy and hostile clients from being felt by others. A host says what each
 * session is to be like and runs its commands; everything of the network is done here,
 * on libuv, which no caller sees.
 *
 * A server has as many threads as its host wants; a client belongs to one of them for
 * good. Callbacks about a client run on its thread, with what the session library allows
 * in callbacks; those about different clients may run at the same time. They must not
 * wait: the thread's other clients would, too. Work that takes time belongs on a thread
 * of the host's own, which brings the result back with server_post.
 *
 * A client's turn ends after one line or one millisecond, whichever comes first; clients
 * with work to do take turns in a ring, and those that had nothing to do before come
 * first. So a key is answered in time whatever others are doing.
 *
 * Every function may be called on any thread while the server runs, but for those that
 * say otherwise. Callbacks get the server first and the configuration's user pointer
 * second; an empty one is skipped. */

#include <stddef.h>
#include <stdint.h>

#include <varno/api.h>
#include <varno/tsession.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct server_s server_s; /* a server; opaque */
typedef struct server_client_s server_client_s;
typedef struct server_config_s server_config_s;
typedef struct server_figures_s server_figures_s;

/* Who is at the other end; lives for the call that is given it. Later versions may have
 * members after these. */
struct server_client_s {
    uint64_t number;     /* 1 and more, for this client alone as long as the server lives */
    const char *name;    /* 192.0.2.1:40000, [2001:db8::1]:40000, or "local" */
    const char *address; /* what is counted as one: an IPv4 address, an IPv6 network of 64
                            bits, which is what one customer commonly has, or "local" */
    int64_t pid;         /* process of a Unix socket's peer; -1: not known */
    int64_t uid, gid;    /* its user and group; -1: not known */
};

/* A client has come. session is what the server's configuration says, with telnet as the
 * transport and what the sessions of this thread share; the host fills in the rest: prompt,
 * graph, callbacks and the user pointer, but no output callback, which is the server's. The
 * client is let in when 0 is returned; otherwise it is hung up on, and nothing more is told
 * of it. */
typedef int (*server_begin_fn)(server_s *server, void *user, const server_client_s *client,
                               tsession_config_s *session);

/* Its session has been made and starts when this returns: what is written now stands
 * above the first prompt. */
typedef void (*server_ready_fn)(server_s *server, void *user, const server_client_s *client,
                                tsession_s *s);

/* The client has gone and its session is freed; session_user, the session's user pointer,
 * is not used again. why is a phrase such as "logged out" or "idle". */
typedef void (*server_end_fn)(server_s *server, void *user, const server_client_s *client,
                              void *session_user, const char *why);

/* Clients were turned away: count of them since this was told last, which is at most once
 * a second and thread. client is the last of them, and why what it was told. */
typedef void (*server_refuse_fn)(server_s *server, void *user, const server_client_s *client,
                                 const char *why, unsigned long count);

/* Before and after every turn of a session, in which lines may run: for what a host keeps
 * up to date for its commands. */
typedef void (*server_turn_fn)(server_s *server, void *user, tsession_s *s);

/* A thread is about to end; its sessions are freed. */
typedef void (*server_thread_fn)(server_s *server, void *user);

/* Something for a client's thread to do; s is NULL when the client has gone. ctx is
 * that of server_post. */
typedef void (*server_task_fn)(server_s *server, tsession_s *s, void *ctx);

/* The signal signum has come; on the thread that is in server_run. */
typedef void (*server_signal_fn)(server_s *server, void *user, int signum);

/* How a server is to be. Start from SERVER_CONFIG_INIT: 0 is every member's default. */
struct server_config_s {
    size_t size;               /* of this record, as the caller knows it */
    uint32_t threads;          /* that serve, 1 to 256; 0: 1 */
    uint32_t max_sessions;     /* at once; 0: 1000 */
    uint32_t max_per_address;  /* of these; 0: as many as max_sessions */
    uint32_t max_connect_rate; /* clients of an address that are let in within a minute; 0: any */
    uint32_t idle_seconds;     /* without a key that end a session, while it takes no output
                                either; 0: never */
    uint32_t session_seconds;  /* that a session may last; 0: for ever */
    uint32_t stall_seconds;    /* a client may leave all of its output; 0: 60 */
    size_t backlog;            /* bytes of output that may wait for a client, 131072 or more;
                                at a quarter its input and long outputs pause; 0: 262144 */
    const tsession_config_s *session; /* what each client's session is made from, but for begin;
                                         NULL: a session's defaults; lives as long as the server */
    void *user;                       /* handed to every callback */
    server_begin_fn begin;            /* a client has come */
    server_ready_fn ready;            /* its session has been made */
    server_end_fn end;                /* it has gone */
    server_refuse_fn refuse;          /* clients were turned away */
    server_turn_fn before_turn;       /* of a session */
    server_turn_fn after_turn;        /* of it */
    server_thread_fn thread_end;      /* a thread is about to end */
};

/* A configuration of defaults. */
#define SERVER_CONFIG_INIT                                                                         \
    {                                                                                              \
        sizeof(server_config_s), 0, 0, 0, 0, 0, 0, 0, 0, NULL, NULL, NULL, NULL, NULL, NULL, NULL, \
            NULL, NULL                                                                             \
    }

/* What a server has done since it was made. */
struct server_figures_s {
    size_t size;              /* of this record, set by the caller */
    uint64_t sessions;        /* at the moment */
    uint64_t accepted;        /* clients that were let in */
    uint64_t refused;         /* and that were not */
    uint64_t bytes_in;        /* from all clients */
    uint64_t bytes_out;       /* for them */
    uint64_t slowest_turn_us; /* microseconds */
};

/* Makes a server that does nothing yet. config, which is not NULL, is copied. The process
 * gets as many descriptors as it may have, and SIGPIPE is ignored.
 * Returns: NULL with errno: EINVAL for a configuration that cannot be, EMFILE when there
 *          are too few descriptors for the threads (server_least_descriptors), ENOMEM.
 * Owns:    the caller; released with server_free. */
VARNO_API server_s *server_create(const server_config_s *config);

/* Frees a server, before server_run is called or when it has returned. NULL is allowed. */
VARNO_API void server_free(server_s *server);

/* Returns: how many descriptors a server of so many threads needs at least. */
VARNO_API uint64_t server_least_descriptors(uint32_t threads);

/* Returns: how many sessions there are descriptors for in a server of so many threads, as the
 *          process may have. */
VARNO_API uint64_t server_most_sessions(uint32_t threads);

/* Where clients come from. These are called before server_run, as often as there are
 * places; a failed call changes nothing. */

/* Listens on a numeric address; port 0 is any that is free.
 * Returns: the port; -1 with errno: EINVAL when the address is not numeric, else what
 *          the system says. */
VARNO_API int server_listen_tcp(server_s *server, const char *address, uint16_t port);

/* Listens on a Unix socket at this path, with mode as its permissions (0660), in the
 * place of one that nobody listens on any more. The file is removed when the server
 * ends.
 * Returns: 0; -1 with errno. */
VARNO_API int server_listen_unix(server_s *server, const char *path, uint32_t mode);

/* Takes over fd, a socket that listens already.
 * Returns: 0; -1 with errno: it stays open. */
VARNO_API int server_listen_fd(server_s *server, int fd);

/* Takes over what a service manager has opened for this process (LISTEN_FDS and LISTEN_PID
 * of its environment, which are removed): sockets that listen, and connected ones, which
 * are served.
 * Returns: how many; 0 when there are none; -1 with errno. */
VARNO_API int server_listen_inherited(server_s *server);

/* Serves one client on the descriptors input, which is read, and output, which is
 * written: sockets or pipes, which may be one. It takes them over.
 * Returns: 0; -1 with errno: they stay open. */
VARNO_API int server_serve(server_s *server, int input, int output);

/* Keeps sessions for an address, numeric or "local": so many are let in from there
 * whatever limit is reached, and nobody else gets the last of max_sessions. An IPv6
 * address stands for its network of 64 bits. Before server_run.
 * Returns: 0; -1 with errno EINVAL for another text, an address that has its share, and
 *          where so many are not left, or ENOMEM. */
VARNO_API int server_reserve(server_s *server, const char *address, uint32_t sessions);

/* Trusts a balancer at an address, numeric or "local": each of its connections has to begin
 * with the PROXY protocol's header, version 2, within five seconds, and counts as a client of
 * the address in it. Anyone who can connect from there can claim any address. Before
 * server_run.
 * Returns: 0; -1 with errno EINVAL for another text, or ENOMEM. */
VARNO_API int server_trust_proxy(server_s *server, const char *address);

/* Becomes a user, with the user's group and no other, for good: for a server that was started with
 * more rights than it needs, once it listens. Before server_run.
 * Returns: 0; -1 with errno: ENOENT when there is no such user, EPERM when its rights cannot be
 *          taken, or the old ones could be had again. */
VARNO_API int server_become(const char *user);

/* Tells the service manager the state of the process: "READY=1", "STOPPING=1"
 * (sd_notify(3)).
 * Returns: 1; 0 when nobody wants to know (NOTIFY_SOCKET); -1 with errno. */
VARNO_API int server_notify(const char *state);

/* Has act run for the signal signum, SIGTERM for one; NULL: the server stops. Before
 * server_run.
 * Returns: 0; -1 with errno. */
VARNO_API int server_on_signal(server_s *server, int signum, server_signal_fn act);

/* Serves until server_stop, or, without any place to listen, until the last client has
 * gone.
 * Returns: 0; -1 with errno when threads could not be started. */
VARNO_API int server_run(server_s *server);

/* Lets nobody in any more, shows those there are a text on a row of its own, and ends
 * their sessions in order, at most seconds later; what they have typed ahead is dropped. */
VARNO_API void server_stop(server_s *server, const char *text);

/* Shows a text to every user; control characters as "?".
 * Returns: 0; -1 without memory. */
VARNO_API int server_tell_all(server_s *server, const char *text);

/* Has task(..., ctx) run on the thread of the client of that number, once, in the
 * order of the calls; where the client has gone, or goes first, its session is NULL.
 * Returns: 0; -1 when the server has ended, or without memory: task does not run. */
VARNO_API int server_post(server_s *server, uint64_t client, server_task_fn task, void *ctx);

/* The same after so many milliseconds, for the client whose session is s; on its own
 * thread alone. When the session ends before that, task(..., ctx) runs then, without
 * one.
 * Returns: 0; -1 when s is no session of a server, or without memory. */
VARNO_API int server_post_later(tsession_s *s, uint32_t milliseconds, server_task_fn task,
                                void *ctx);

/* Returns: the client that has the session, asked on its own thread; NULL when that is no
 *          server's. */
VARNO_API const server_client_s *server_client(const tsession_s *s);

/* Fills in what figures->size says that there is room for. */
VARNO_API void server_get_figures(server_s *server, server_figures_s *figures);

#ifdef __cplusplus
}
#endif

#endif
