# Input that comes while something else has the terminal: kept, in order.

! what is typed ahead of a full screen is the next line, whole
SESSION plain 60 xterm
INPUT "show long"<cr>"no exit"<cr>
  line show long
  cancelled after 11
  above6 "  show              what there is"
  above "  and 3 more, which ? lists"
  closed 0

! one call runs one line
SESSION plain 60 xterm
ONCE "show ver"<cr>"login"<cr>"secret"<cr>
  line show ver
  wait 0
TIMEOUT
  line login
  row "Password: |"
  wait 0
TIMEOUT
  answer secret
  wait -1

! one call shows one list
SESSION plain 60 xterm
ONCE "?x?"
  row "> |"
  wait 0
TIMEOUT
  row "> x|"
  bell 1
  wait -1

! nothing is typed while the client takes no output
SESSION plain 60 xterm
INPUT "show"
WRITABLE 0
INPUT " ver"<cr>
  row "> show|"
  wait -1
WRITABLE 1
  line show ver

! an output that rests asks nobody for a key
SESSION plain 60 xterm
UNPAGED
ROWS 20000
ONCE "show long"<cr>
  line show long
  wait 0
ONCE "quit"<c-a>
  wait 0
WORK
  above "row 20000"
  row "> |quit"

! a paste waits for an output that rests
SESSION plain 60 xterm
UNPAGED
ROWS 20000
ONCE <esc>"[200~show long"<lf>"show ver"<lf>"sure"<esc>"[201~"
  line show long
WORK
  line show ver
  row "> sure|"

! Ctrl-C is found in what is kept: it ends what runs, and drops what was typed before it
SESSION plain 60 xterm
UNPAGED
ROWS 20000
ONCE "show long"<cr>
  line show long
ONCE "show ver"<cr><c-c>"lo"
  cancelled after 3388
  wait 0
WORK
  row "> lo|"
cuts differ: what was typed before a Ctrl-C is dropped only where it had not been taken

! a producer that has nothing yet is asked again when it is woken
SESSION plain 60 xterm
LATER 1
INPUT "show long"<cr>"show ver"<cr>
  line show long
  wait -1
LATER 0
  wait -1
WAKE
  wait 0
WORK
  cancelled after 11
  line show ver

! an output is cancelled by the host, and what was typed meanwhile is run
SESSION plain 60 xterm
LATER 1
INPUT "show long"<cr>"show ver"<cr>
  line show long
  wait -1
CANCEL
  cancelled after 0
  wait 0
WORK
  line show ver
CANCEL
  row "> |"

! a message while an output rests begins a row of its own
SESSION plain 60 xterm
LATER 1
INPUT "show long"<cr>
  line show long
WRITE "half"
WRITE "news<lf>"
  above "news"
  above2 "half"

! a host is told to stop reading when 4 KiB are kept
SESSION plain 60 xterm
WRITABLE 0
INPUT "<x61 4095>"
  wants 1
INPUT "a"
  wants 0
cuts differ: they are too many

! a host that does not listen has its session ended, with a word
SESSION plain 60 xterm
WRITABLE 0
INPUT "<x61 65000>"
INPUT "<x61 1000>"
  overflow
  over
  above "% too much input, this session ends"
  closed 1
cuts differ: they are too many

! a window's change is no key, whatever runs
SESSION telnet 60 vt100
HEX 73 68 6f 77 20 6c 6f 6e 67 0d 00 ff fa 1f 00 3c 00 08 ff f0 ff f1 ff f6
  line show long
  size 60 8
  row "--More--|"

! telnet's interrupt ends what runs, and drops what was typed before it
SESSION telnet 60 vt100
HEX 73 68 6f 77 20 6c 6f 6e 67 0d 00 65 78 69 74 0d 00 ff f4 78
  line show long
  cancelled after 11
  row "> x|"
cuts differ: what was typed before an interrupt is dropped only where it had not been taken

! a line of more than 255 characters is refused
SESSION plain 60 xterm
INPUT "<x61 255>"
  bell 0
INPUT "b"
  bell 1
INPUT "b"
  bell 0
INPUT <cr>
  above "% line too long, 255 characters at most"
  row "> |"
cuts differ: they are too many

! a line that was emptied may be run again
SESSION plain 60 xterm
INPUT "<x61 256>"<c-u>"show ver"<cr>
  line show ver
cuts differ: they are too many

! the history has the line that was too long neither
SESSION plain 60 xterm
INPUT "show ver"<cr>"<x61 256>"<cr><up>
  line show ver
  row "> show ver|"
cuts differ: they are too many
