# User data and its runs. What follows the last command of a buffer stays with the
# host until a call that sees no command.

! plain data is delivered in one call
TEXT "abc"
  data "abc"
  used 3
  kept ""

! data of any byte but 255 is plain
BYTES 00 07 1b 7f 80 f0 fa fe
  data "<nul><bel><esc><del><x80><xf0><xfa><xfe>"
  used 8

! data after a command is left for the next call
BYTES 61 ff f1 62
  trace "Have some text buffered up"
  data "a"
  trace "Discarding command NOP (241)"
  trace "NVT processing consumed 2<lf>"
  used 3
  kept "b"
AGAIN
  data "b"
  used 1
  kept ""

! data after a command goes out with what arrives next
QUIET
BYTES ff f1 62
  used 2
TEXT "cd"
  data "bcd"
  used 3

! data between two commands is delivered as a run of its own
QUIET
BYTES 61 ff f1 62 63 ff f1 64
  data "a"
  data "bc"
  used 7
  kept "d"

! a command at the very end uses the buffer up
BYTES 61 ff f1
  trace "Have some text buffered up"
  data "a"
  trace "Discarding command NOP (241)"
  trace "NVT processing consumed 2<lf>"
  used 3

! an IAC alone at the end is kept, the data before it is delivered
BYTES 61 62 ff
  trace "Have some text buffered up"
  data "ab"
  trace "NVT processing consumed 0<lf>"
  used 2
  kept "<xff>"
BYTES f1
  trace "Discarding command NOP (241)"
  trace "NVT processing consumed 2<lf>"
  used 2

! an IAC alone uses nothing
BYTES ff
  trace "NVT processing consumed 0<lf>"
  used 0
AGAIN
  trace "NVT processing consumed 0<lf>"
  used 0
  kept "<xff>"

! an escaped 255 is delivered as a single byte
BYTES ff ff
  data "<xff>"
  trace "NVT processing consumed 2<lf>"
  used 2

! escaped bytes inside data are runs of their own
BYTES 61 ff ff ff ff 62
  trace "Have some text buffered up"
  data "a"
  data "<xff>"
  trace "NVT processing consumed 2<lf>"
  data "<xff>"
  trace "NVT processing consumed 2<lf>"
  used 5
  kept "b"
