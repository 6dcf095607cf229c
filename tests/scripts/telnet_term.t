# Terminal type: IAC SB 24, IS (0), the name, IAC SE.

! a terminal type is reported in lower case
BYTES ff fa 18 00 56 54 31 30 30 ff f0
  term vt100
  trace "Consumed a sub-opt message of length 11"
  trace "NVT processing consumed 11<lf>"
  used 11

! a name of one byte is a name
QUIET
BYTES ff fa 18 00 58 ff f0
  term x
  used 7

! bytes of a name are passed as they are but for their case
QUIET
BYTES ff fa 18 00 41 00 c9 5a ff f0
  term "a<nul><xc9>z"
  used 10

! an empty name is too large
BYTES ff fa 18 00 ff f0
  trace "termtype message termlength is too large: 0"
  trace "Consumed a sub-opt message of length 6"
  trace "NVT processing consumed 6<lf>"
  used 6

! a name of forty bytes is reported
TEXT "<xff><xfa><x18><nul>ABCDEFGHIJKLMNOPQRSTUVWXYZ01234567890123<xff><xf0>"
  term abcdefghijklmnopqrstuvwxyz01234567890123
  trace "Consumed a sub-opt message of length 46"
  trace "NVT processing consumed 46<lf>"
  used 46

! a name of forty-one bytes is too large
TEXT "<xff><xfa><x18><nul>ABCDEFGHIJKLMNOPQRSTUVWXYZ012345678901234<xff><xf0>"
  trace "termtype message termlength is too large: 41"
  trace "Consumed a sub-opt message of length 47"
  trace "NVT processing consumed 47<lf>"
  used 47

! a SEND is not for a server
BYTES ff fa 18 01 ff f0
  trace "malformed termtype message: cmd 1 is not IS"
  trace "Consumed a sub-opt message of length 6"
  trace "NVT processing consumed 6<lf>"
  used 6

! without parameters the end's IAC stands where IS belongs
BYTES ff fa 18 ff f0
  trace "malformed termtype message: cmd 255 is not IS"
  trace "Consumed a sub-opt message of length 5"
  trace "NVT processing consumed 5<lf>"
  used 5

! an end mark right after a 255 is no end
QUIET
BYTES ff fa 18 00 41 ff ff f0 42 ff f0
  term "a<xff 2><xf0>b"
  used 11

! a terminal type is kept until its end is there
QUIET
BYTES ff fa 18 00 56 54
  used 0
BYTES 31 30 30 ff
  used 0
BYTES f0 61
  term vt100
  used 11
  kept "a"
