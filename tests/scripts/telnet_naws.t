# Window size: IAC SB 31, two 16-bit numbers, IAC SE.

! a window size is reported
BYTES ff fa 1f 00 50 00 18 ff f0
  naws 80 24
  trace "Consumed a sub-opt message of length 9"
  trace "NVT processing consumed 9<lf>"
  used 9

! a window size counts its high bytes
QUIET
BYTES ff fa 1f 01 02 fe fd ff f0
  naws 258 65277
  used 9

! data around a window size is delivered
QUIET
BYTES 61 ff fa 1f 00 50 00 18 ff f0 62
  data "a"
  naws 80 24
  used 10
AGAIN
  data "b"
  used 1

! a window size is kept until its end is there
BYTES ff fa 1f 00 50 00 18 ff
  trace "Could not consume sub-opt message"
  trace "NVT processing consumed 0<lf>"
  used 0
BYTES f0
  naws 80 24
  trace "Consumed a sub-opt message of length 9"
  trace "NVT processing consumed 9<lf>"
  used 9

! a window size that ends early waits for nine bytes
BYTES ff fa 1f 00 50 ff f0
  trace "Could not consume sub-opt message"
  trace "NVT processing consumed 0<lf>"
  used 0
  kept "<xff><xfa><x1f><nul>P<xff><xf0>"

! a window size without its end after nine bytes is malformed, its rest is data
BYTES ff fa 1f 00 50 ff f0 61 62
  trace "saw malformed NAWS message: missing IAC SE"
  trace "Consumed a sub-opt message of length 6"
  trace "NVT processing consumed 6<lf>"
  used 6
  kept "<xf0>ab"

! a window 255 columns wide is malformed, and the rest of the message is typed
# The width goes out as 0 255 255. Six bytes are used, the height is data.
BYTES ff fa 1f 00 ff ff 00 18 ff f0
  trace "saw malformed NAWS message: missing IAC SE"
  trace "Consumed a sub-opt message of length 6"
  trace "NVT processing consumed 6<lf>"
  trace "Have some text buffered up"
  data "<nul><c-x>"
  trace "Saw IAC SE without corresponding IAC SB"
  trace "NVT processing consumed 2<lf>"
  used 10

! a window 255 rows high hides its own end
BYTES ff fa 1f 00 50 00 ff ff ff f0
  trace "Could not consume sub-opt message"
  trace "NVT processing consumed 0<lf>"
  used 0

! a window 255 rows high is malformed once another end arrives
BYTES ff fa 1f 00 50 00 ff ff ff f0 61 ff f0
  trace "saw malformed NAWS message: missing IAC SE"
  trace "Consumed a sub-opt message of length 6"
  trace "NVT processing consumed 6<lf>"
  data "<xff>"
  trace "NVT processing consumed 2<lf>"
  trace "Saw IAC SE without corresponding IAC SB"
  trace "NVT processing consumed 2<lf>"
  trace "Have some text buffered up"
  data "a"
  trace "Saw IAC SE without corresponding IAC SB"
  trace "NVT processing consumed 2<lf>"
  used 13

! a window 255 rows high sent without escaping waits for another end
BYTES ff fa 1f 00 50 00 ff ff f0
  trace "Could not consume sub-opt message"
  trace "NVT processing consumed 0<lf>"
  used 0

! a window 255 rows high sent without escaping is reported, then fatal
BYTES ff fa 1f 00 50 00 ff ff f0 ff f0
  naws 80 255
  assertion telnet_parser "len == 9"

! a window 65520 columns wide sent without escaping is reported, then fatal
BYTES ff fa 1f ff f0 00 18 ff f0
  naws 65520 24
  assertion telnet_parser "len == 9"

! a message of nine bytes with an end inside is reported, then fatal
BYTES ff fa 1f 00 50 ff f0 ff f0
  naws 80 65520
  assertion telnet_parser "len == 9"
