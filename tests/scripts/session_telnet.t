# Whole telnet sessions, and what a remote user may send.

! the opening is answered with the prompt, and a size and a type are taken
SESSION telnet 80 vt100
  row "> |"
HEX ff fd 01 ff fb 1f ff fb 18 ff fa 1f 00 28 00 0c ff f0 ff fa 18 00 58 54 45 52 4d ff f0
  size 40 12
  terminal xterm
INPUT "show ver"<cr><nul>
  line show ver

! the same option asked for again and again is refused once each
SESSION telnet 80 vt100
HEX ff fd 05 ff fd 05 ff fb 27 ff fe 05
  reply 252 5
  reply 252 5
  reply 254 39

! a window size of the wrong length harms nobody
SESSION telnet 80 vt100
HEX ff fa 1f ff f0 00 18 ff f0
HEX ff fa 1f 00 50 ff f0 ff f0
HEX ff fa 1f 00 50 00 ff ff f0
  size 80 255
HEX ff f0
INPUT "show ver"<cr>
  line show ver

! a window 255 columns wide is understood
SESSION telnet 80 vt100
HEX ff fa 1f 00 ff ff 00 18 ff f0
  size 255 24
HEX ff fa 1f 00 50 00 ff ff ff f0
  size 80 255

! an unfinished request at the end of a block waits for its option
SESSION telnet 80 vt100
HEX 61 ff fb
HEX 05 62
  reply 254 5
  row "> ab|"

! a subnegotiation without end is swallowed and comes to an end
SESSION telnet 80 vt100
HEX ff fa 05 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 0d ff ff f0 0d ff f0 62
  row "> b|"

! data after a command is taken at once
SESSION telnet 80 vt100
HEX ff f1 61
  row "> a|"

! an unsupported subnegotiation leaves no key behind
SESSION telnet 80 vt100
HEX 61 ff fa 05 0d ff f1 ff f0 62
  row "> ab|"

! CR LF is one Enter
SESSION telnet 80 vt100
HEX 73 68 6f 77 20 76 65 72 0d 0a 73 68 6f 77 20 76 65 72 0d 00
  line show ver
  line show ver
  row "> |"

! Interrupt Process and Break drop the line
SESSION telnet 80 vt100
HEX 61 62 ff f4
  interrupt
  row "> |"
HEX 61 62 ff f3
  break
  row "> |"

! what follows a close in the same bytes means nothing
SESSION telnet 80 vt100
HEX 65 78 69 74 0d 00 ff fa 18 00 6c 69 6e 75 78 ff f0 ff f4 ff f6 ff fa 1f 00 28 00 0c ff f0 ff fd 05
  line exit
  over
  closed 1

! Are You There is answered above the line
SESSION telnet 80 vt100
HEX 61 62 ff f6
  above "[Yes]"
  row "> ab|"

! a terminal type is used only if it is known, the first that is named
SESSION telnet 80 vt100
HEX ff fa 18 00 2e 2e 2f 65 74 63 ff f0
HEX ff fa 18 00 6e 6f 62 6f 64 79 ff f0
HEX ff fa 18 00 6c 69 6e 75 78 ff f0
  terminal linux
HEX ff fa 18 00 76 74 32 32 30 ff f0

! a window of unknown, least and largest size is put in force within its bounds
SESSION telnet 80 vt100
HEX ff fa 1f 00 00 00 00 ff f0
  size 80 24
HEX ff fa 1f 00 01 00 01 ff f0
  size 10 2
INPUT "abcdefghijklmnopqrstuvwxyz"<c-a><right 12><c-e>
HEX ff fa 1f ff ff ff ff ff ff ff ff ff f0
  size 256 512
  closed 0

! a Tab after an interrupt is the first of its line, and lists nothing
SESSION telnet 80 vt100
HEX 09 ff f4
  interrupt
HEX 09
  bell 1
  above ">"
