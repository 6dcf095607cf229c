# Commands of two and three bytes.

! NOP is discarded
BYTES ff f1
  trace "Discarding command NOP (241)"
  trace "NVT processing consumed 2<lf>"
  used 2

! DATAMARK is discarded
BYTES ff f2
  trace "Discarding command DATAMARK (242)"
  trace "NVT processing consumed 2<lf>"
  used 2

! INTERRUPT is discarded
BYTES ff f4
  trace "Discarding command INTERRUPT (244)"
  trace "NVT processing consumed 2<lf>"
  used 2

! ABRT is discarded
BYTES ff f5
  trace "Discarding command ABRT (245)"
  trace "NVT processing consumed 2<lf>"
  used 2

! AYT is discarded
BYTES ff f6
  trace "Discarding command AYT (246)"
  trace "NVT processing consumed 2<lf>"
  used 2

! ECHAR is discarded
BYTES ff f7
  trace "Discarding command ECHAR (247)"
  trace "NVT processing consumed 2<lf>"
  used 2

! ELINE is discarded
BYTES ff f8
  trace "Discarding command ELINE (248)"
  trace "NVT processing consumed 2<lf>"
  used 2

! GA is discarded
BYTES ff f9
  trace "Discarding command GA (249)"
  trace "NVT processing consumed 2<lf>"
  used 2

! a break is reported, and not traced by name
BYTES 61 ff f3 62 ff f3
  trace "Have some text buffered up"
  data "a"
  brk
  trace "NVT processing consumed 2<lf>"
  trace "Have some text buffered up"
  data "b"
  brk
  trace "NVT processing consumed 2<lf>"
  used 6

! an SE without SB is skipped
BYTES ff f0
  trace "Saw IAC SE without corresponding IAC SB"
  trace "NVT processing consumed 2<lf>"
  used 2

! a command byte below 240 is invalid and skipped with its IAC
BYTES ff 00 ff ef 61
  trace "Invalid NVT command 0"
  trace "NVT processing consumed 2<lf>"
  trace "Invalid NVT command 239"
  trace "NVT processing consumed 2<lf>"
  used 4
  kept "a"

! WILL is noted, not answered
BYTES ff fb 18
  trace "Client WILL option 24"
  trace "NVT processing consumed 3<lf>"
  used 3

! WONT is noted, not answered
BYTES ff fc 18
  trace "Client WONT option 24"
  trace "NVT processing consumed 3<lf>"
  used 3

! DO is noted, not answered
BYTES ff fd 18
  trace "Client request DO option 24"
  trace "NVT processing consumed 3<lf>"
  used 3

! DONT is noted, not answered
BYTES ff fe 18
  trace "Client request DONT option 24"
  trace "NVT processing consumed 3<lf>"
  used 3

! the option byte of a request may be 255
BYTES ff fb ff 61
  trace "Client WILL option 255"
  trace "NVT processing consumed 3<lf>"
  used 3
  kept "a"

! the option byte of a request at the end of the buffer is the byte after it
# The result exceeds the buffer; the host drops the byte from what arrives next.
BEHIND 2a
BYTES 61 ff fd
  trace "Have some text buffered up"
  data "a"
  trace "Client request DO option 42"
  trace "NVT processing consumed 3<lf>"
  used 4
BYTES 01 62
  data "b"
  used 1

! a request after its missing option byte is read from the right place
BEHIND ff
BYTES ff fe
  trace "Client request DONT option 255"
  trace "NVT processing consumed 3<lf>"
  used 3
BYTES 01 ff fc 02
  trace "Client WONT option 2"
  trace "NVT processing consumed 3<lf>"
  used 3

! a request without its option byte before a command byte is kept
BYTES 61 ff
  trace "Have some text buffered up"
  data "a"
  trace "NVT processing consumed 0<lf>"
  used 1
BYTES fb 1f
  trace "Client WILL option 31"
  trace "NVT processing consumed 3<lf>"
  used 3
