// The device of device.c in Rust, as one file without crates: the declarations that it needs
// are below.
//
//     rustc examples/device.rs $(pkg-config --libs-only-L varno-session)
//
// A panic must not leave a function that C has called, and a failed assertion must not unwind
// one: the first aborts, and leave_assertions leaves the second to the platform.

use std::ffi::{c_void, CStr, CString};
use std::io::{Error, Write};
use std::mem::{size_of, zeroed};
use std::os::raw::{c_char, c_int, c_ulong};
use std::ptr::{null, null_mut};

#[repr(C)]
struct Session {
    _opaque: [u8; 0],
}

#[repr(C)]
struct Node {
    name: *const c_char,
    keyword: *const c_char,
    help: *const c_char,
    kind: u32,
    child: *mut Node,
    next: *mut Node,
    aux_text: *const c_char,
    aux_int: i32,
    func: *mut c_void,
    attr: u32,
    link_count: i32,
    own: [*mut c_char; 3],
}

const KEYWORD: u32 = 1;
const END: u32 = 2;
const STRING: u32 = 3;

#[repr(C)]
struct Match {
    next: *mut Match,
    token: *mut c_char,
    node: *mut Node,
    pos: i32,
    len: i32,
}

// Without its last members: the size says so.
#[repr(C)]
struct Config {
    size: usize,
    transport: i32,
    terminal_type: *const c_char,
    columns: i32,
    rows: i32,
    prompt: *const c_char,
    history_limit: i32,
    is_unpaged: i32,
    leave_assertions: i32,
    escape_wait_ms: i32,
    texts: *const c_void,
    graph: *const Node,
    shared: *mut c_void,
    user: *mut c_void,
    output: Option<extern "C" fn(*mut Session, *mut c_void, *const c_char, usize)>,
    line: Option<extern "C" fn(*mut Session, *mut c_void, *const c_char, *const Node, *mut Match)>,
}

#[link(name = "varno-session")]
extern "C" {
    fn tsession_create(config: *const Config) -> *mut Session;
    fn tsession_free(s: *mut Session);
    fn tsession_start(s: *mut Session);
    fn tsession_input(s: *mut Session, bytes: *const c_void, count: usize);
    fn tsession_wants_input(s: *const Session) -> c_int;
    fn tsession_wait(s: *const Session) -> i32;
    fn tsession_time_out(s: *mut Session);
    fn tsession_write(s: *mut Session, bytes: *const c_char, count: usize);
    fn tsession_close(s: *mut Session);
    fn tsession_is_closed(s: *const Session) -> c_int;
}

#[link(name = "varno")]
extern "C" {
    fn cli_match_by_name(words: *mut Match, name: *const c_char) -> *mut Match;
}

// Of the C library.
#[repr(C)]
struct PollFd {
    fd: c_int,
    events: i16,
    revents: i16,
}

const POLLIN: i16 = 1;

extern "C" {
    fn poll(watched: *mut PollFd, count: c_ulong, wait: c_int) -> c_int;
    fn read(fd: c_int, bytes: *mut c_void, count: usize) -> isize;
    fn time(out: *mut i64) -> i64;
    fn ctime(at: *const i64) -> *const c_char;
}

// The commands. The graph lives as long as the program.

type Action = fn(*mut Session, *mut Match);

fn print(s: *mut Session, text: &CStr) {
    unsafe { tsession_write(s, text.as_ptr(), text.to_bytes().len()) }
}

fn show_time(s: *mut Session, _words: *mut Match) {
    unsafe { print(s, CStr::from_ptr(ctime(&time(null_mut())))) }
}

fn echo(s: *mut Session, words: *mut Match) {
    let name = CString::new("WORD").unwrap();
    print(s, unsafe {
        CStr::from_ptr((*cli_match_by_name(words, name.as_ptr())).token)
    });
    print(s, &CString::new("\n").unwrap());
}

fn leave(s: *mut Session, _words: *mut Match) {
    unsafe { tsession_close(s) }
}

// For what lives as long as the program.
fn text(words: &str) -> *const c_char {
    CString::new(words).unwrap().into_raw()
}

fn end(action: Action) -> *mut Node {
    let action = Box::into_raw(Box::new(action)) as *mut c_void;
    let node = Node {
        name: text("end"),
        kind: END,
        func: action,
        ..unsafe { zeroed() }
    };
    Box::into_raw(Box::new(node))
}

fn word(kind: u32, label: &str, help: &str, child: *mut Node, next: *mut Node) -> *mut Node {
    let label = text(label);
    let help = text(help);
    let node = Node {
        name: label,
        keyword: label,
        help,
        kind,
        child,
        next,
        ..unsafe { zeroed() }
    };
    Box::into_raw(Box::new(node))
}

fn graph() -> *const Node {
    let exit_word = word(KEYWORD, "exit", "leave", end(leave), null_mut());
    let what = word(STRING, "WORD", "what to print", end(echo), null_mut());
    let echo_word = word(KEYWORD, "echo", "print", what, exit_word);
    let clock = word(KEYWORD, "time", "the clock", end(show_time), null_mut());
    word(KEYWORD, "show", "tell", clock, echo_word)
}

// What the session calls.

extern "C" fn run(
    s: *mut Session,
    _user: *mut c_void,
    _line: *const c_char,
    end: *const Node,
    words: *mut Match,
) {
    let action = unsafe { *((*end).func as *const Action) };
    action(s, words);
}

// A failure is kept for main, where the user pointer points.
extern "C" fn output(s: *mut Session, user: *mut c_void, bytes: *const c_char, count: usize) {
    let failure = unsafe { &mut *(user as *mut Option<Error>) };
    let bytes = unsafe { std::slice::from_raw_parts(bytes as *const u8, count) };
    let mut out = std::io::stdout();
    if let Err(error) = out.write_all(bytes).and_then(|()| out.flush()) {
        *failure = Some(error);
        unsafe { tsession_close(s) }
    }
}

// What was typed before the input ended is still run.
unsafe fn serve(s: *mut Session) {
    let mut bytes = [0u8; 512];
    let mut count = 1;
    while tsession_is_closed(s) == 0 && (count > 0 || tsession_wait(s) == 0) {
        let mut input = PollFd {
            fd: 0,
            events: POLLIN,
            revents: 0,
        };
        let watched = (count > 0 && tsession_wants_input(s) != 0) as c_ulong;
        if poll(&mut input, watched, tsession_wait(s)) == 0 {
            tsession_time_out(s);
            continue;
        }
        count = read(0, bytes.as_mut_ptr() as *mut c_void, bytes.len());
        if count > 0 {
            tsession_input(s, bytes.as_ptr() as *const c_void, count as usize);
        }
    }
    tsession_close(s);
}

fn main() -> Result<(), Error> {
    let mut failure: Option<Error> = None;
    let terminal = std::env::var("TERM").map_or(null(), |name| text(&name));
    let config = Config {
        size: size_of::<Config>(),
        terminal_type: terminal,
        prompt: text("demo> "),
        leave_assertions: 1,
        graph: graph(),
        user: &mut failure as *mut Option<Error> as *mut c_void,
        output: Some(output),
        line: Some(run),
        ..unsafe { zeroed() }
    };
    unsafe {
        let s = tsession_create(&config);
        assert!(!s.is_null(), "no session");
        tsession_start(s);
        serve(s);
        tsession_free(s);
    }
    failure.map_or(Ok(()), Err)
}
