#!/usr/bin/env python3
"""The device of device.c in Python, by cffi: the declarations that it needs are below, and
the library is loaded as it is installed. Nothing is compiled."""

import collections
import os
import select
import sys
import time

import cffi

ffi = cffi.FFI()
ffi.cdef("""
    typedef struct tsession_s tsession_s;

    typedef struct cli_pnode_s cli_pnode_s;
    struct cli_pnode_s {
        const char *name, *keyword, *help;
        uint32_t type;
        cli_pnode_s *child, *next;
        const char *aux_text;
        int32_t aux_int;
        void *func;
        uint32_t attr;
        int32_t link_count;
        char *own_name, *own_keyword, *own_help;
    };
    enum { PNODE_KEYWORD = 1, PNODE_EOLS = 2, PNODE_STRING = 3 };

    typedef struct cli_pmatch_s cli_pmatch_s;
    struct cli_pmatch_s {
        cli_pmatch_s *next;
        char *token;
        cli_pnode_s *node;
        int32_t pos, len;
    };

    typedef struct {
        size_t size;
        int32_t transport;
        const char *terminal_type;
        int32_t columns, rows;
        const char *prompt;
        int32_t history_limit, is_unpaged, leave_assertions, escape_wait_ms;
        const void *texts;
        const cli_pnode_s *graph;
        void *shared, *user;
        void (*output)(tsession_s *s, void *user, const char *bytes, size_t count);
        void (*line)(tsession_s *s, void *user, const char *line, const cli_pnode_s *end,
                     cli_pmatch_s *words);
    } tsession_config_s; /* without its last members: the size says so */

    tsession_s *tsession_create(const tsession_config_s *config);
    void tsession_free(tsession_s *s);
    void tsession_start(tsession_s *s);
    void tsession_input(tsession_s *s, const void *bytes, size_t count);
    int tsession_wants_input(const tsession_s *s);
    int32_t tsession_wait(const tsession_s *s);
    void tsession_time_out(tsession_s *s);
    void tsession_write(tsession_s *s, const char *bytes, size_t count);
    void tsession_close(tsession_s *s);
    int tsession_is_closed(const tsession_s *s);
""")
varno = ffi.dlopen("libvarno-session.so.1")

kept = []  # what C points at


def text(words):
    kept.append(ffi.new("char[]", words.encode()))
    return kept[-1]


def node(kind, **members):
    kept.append(ffi.new("cli_pnode_s *", {"type": kind, **members}))
    return kept[-1]


def end(action):
    handle = ffi.new_handle(action)
    kept.append(handle)
    return node(varno.PNODE_EOLS, name=text("end"), func=handle)


def word(kind, label, help_text, child, following=ffi.NULL):
    return node(kind, name=text(label), keyword=text(label), help=text(help_text),
                child=child, next=following)


def write(session, words):
    encoded = words.encode()
    varno.tsession_write(session, encoded, len(encoded))


def show_time(session, words):
    write(session, time.ctime() + "\n")


def echo(session, words):
    write(session, words["WORD"] + "\n")


def leave(session, words):
    varno.tsession_close(session)


def graph():
    """The commands, last words first."""
    exit_word = word(varno.PNODE_KEYWORD, "exit", "leave", end(leave))
    what = word(varno.PNODE_STRING, "WORD", "what to print", end(echo))
    echo_word = word(varno.PNODE_KEYWORD, "echo", "print", what, exit_word)
    clock = word(varno.PNODE_KEYWORD, "time", "the clock", end(show_time))
    return word(varno.PNODE_KEYWORD, "show", "tell", clock, echo_word)


# An exception cannot cross the frames of C: cffi hands it to this function, which keeps it for
# the loop.
raised = collections.deque()


def keep_exception(kind, error, trace):
    raised.append(error)


@ffi.callback("void(tsession_s *, void *, const char *, const cli_pnode_s *, cli_pmatch_s *)",
              onerror=keep_exception)
def run(session, user, line, action, match):
    words = {}
    while match:
        words[ffi.string(match.node.name).decode()] = ffi.string(match.token).decode()
        match = match.next
    ffi.from_handle(action.func)(session, words)


@ffi.callback("void(tsession_s *, void *, const char *, size_t)", onerror=keep_exception)
def output(session, user, data, count):
    left = ffi.buffer(data, count)[:]
    while left:
        left = left[os.write(1, left):]


def serve(session):
    """The loop. What was typed before the input ended is still run."""
    has_input = True
    while not varno.tsession_is_closed(session) and not raised:
        wait = varno.tsession_wait(session)
        if not has_input and wait != 0:
            break
        watched = [0] if has_input and varno.tsession_wants_input(session) else []
        if not select.select(watched, [], [], None if wait < 0 else wait / 1000)[0]:
            varno.tsession_time_out(session)
            continue
        data = os.read(0, 512)
        has_input = bool(data)
        varno.tsession_input(session, data, len(data))
    varno.tsession_close(session)


def main():
    config = ffi.new("tsession_config_s *")
    config.size = ffi.sizeof("tsession_config_s")
    config.terminal_type = text(os.environ.get("TERM", ""))
    config.prompt = text("demo> ")
    config.leave_assertions = 1  # the interpreter's frames cannot be unwound
    config.graph = graph()
    config.output = output
    config.line = run
    session = varno.tsession_create(config)
    if not session:
        sys.exit("device: no session")
    varno.tsession_start(session)
    serve(session)
    varno.tsession_free(session)
    if raised:
        raise raised[0]


main()
