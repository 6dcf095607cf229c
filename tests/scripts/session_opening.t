# A telnet client's opening: its first prompt, sent once, and who echoes.

! the first prompt is sent once, when the opening is answered
SESSION opening 80 vt100
  sent ""
  wait 200
HEX ff fd 01 ff fd 1f ff fb 1f ff fd 03 ff fb 03
  sent ""
  wait 200
HEX ff fb 18
  sent ""
HEX ff fa 1f 00 50 00 18 ff f0
  sent ""
  size 80 24
  wait 200
HEX ff fa 18 00 58 54 45 52 4d ff f0
  terminal xterm
  sent "<esc>[?2004h<cr>> "
  row "> |"
  wait -1

! a client that refuses everything has its prompt at once
SESSION opening 80 vt100
HEX ff fe 01 ff fe 1f ff fc 1f ff fe 03 ff fc 03 ff fc 18
  sent "<cr>> "
  wait -1

! a client that refuses everything is a program: it is shown what it types
SESSION opening 80 vt100
HEX ff fe 01 ff fe 1f ff fc 1f ff fe 03 ff fc 03 ff fc 18
  sent "<cr>> "
INPUT "show ver"<cr>
  line show ver
  sent "show ver<cr><lf>version 1<cr><lf>> "

! a client that takes an option, and not the echo, shows what is typed by itself
SESSION opening 80 vt100
HEX ff fe 01 ff fe 1f ff fc 1f ff fd 03 ff fc 03 ff fc 18
  sent "<cr>> "
INPUT "show ver"<cr>
  line show ver
  sent "version 1<cr><lf>> "

! a client that answers nothing has its prompt when the wait is over
SESSION opening 80 vt100
  sent ""
TIMEOUT
  sent "<cr>> "
  wait -1
TIMEOUT
  sent ""

! answers that come later do not draw the prompt again
SESSION opening 80 vt100
TIMEOUT
HEX ff fd 01 ff fd 1f ff fb 1f ff fd 03 ff fb 03 ff fb 18
HEX ff fa 1f 00 50 00 18 ff f0 ff fa 18 00 76 74 31 30 30 ff f0
  size 80 24
  terminal vt100
  sent ""

! who types at once is served at once
SESSION opening 80 vt100
INPUT "show ver"<cr>
  line show ver
  above "version 1"
  row "> |"
  wait -1

! a break in the opening is a break at the prompt
SESSION opening 80 vt100
HEX ff f3
  break
  row "> |"
  wait -1

! a message before the first prompt stands above it
SESSION opening 80 vt100
WRITE "welcome<lf>"
  sent "welcome<cr><lf>"
TIMEOUT
  sent "> "
  row "> |"

! a question before the first prompt is asked in its place
SESSION opening 80 vt100
ASK "Name: "
  sent ""
TIMEOUT
  sent "Name: "

! a size during the opening is taken
SESSION opening 80 vt100
HEX ff fa 1f 00 28 00 0c ff f0
  size 40 12
TIMEOUT
  row "> |"

! the end of the session during the opening sends no prompt
SESSION opening 80 xterm
CLOSE
  closed 1
  over
  sent ""
  wait -1

! a prompt after a newline is the prompt alone
SESSION plain 80 vt100
INPUT "show ver"<cr>
  line show ver
  sent "show ver<cr><lf>version 1<cr><lf>> "
WRITE "news<lf>"
  sent "<cr>  <cr>news<cr><lf>> "
WRITE "news"
  sent "<cr>  <cr>news<cr><lf>> "

! what has not changed is not drawn again
SESSION plain 80 xterm
INPUT "abc"
RESIZE 80 30
  sent ""
PROMPT "> "
  sent ""

! a client that echoes shows what is typed by itself
cuts differ: what the client shows is not on this terminal, and a redraw of it may be
SESSION telnet 80 vt100
HEX ff fe 01
INPUT "show ver"
  sent ""
INPUT <bs>
  row "> show ve|"
INPUT "r"<cr>
  line show ver
  sent "version 1<cr><lf>> "
INPUT "login"<cr>
  line login
  sent "Password: "
INPUT "secret"
  sent ""
INPUT <cr>
  answer secret
  sent "welcome<cr><lf>> "
INPUT "name"<cr>
  line name
INPUT "Ann"
  sent ""
INPUT <cr>
  answer Ann

! text that a client has shown before a redraw arrives is on the row all the same
SESSION telnet 80 vt100
HEX ff fe 01
CLIENT "shox<bs>w ver"
INPUT "shox"
  sent ""
INPUT <bs>
  row "> sho|"
INPUT "w ver"
  row "> show ver|"
HEX ff f1
  sent ""
INPUT <cr>
  line show ver
  sent "version 1<cr><lf>> "
INPUT "s"
  sent ""

! a message to a client that echoes leaves the line that is typed
SESSION telnet 80 vt100
HEX ff fe 01
INPUT "show"
WRITE "news<lf>"
  above "news"
  row "> show|"
INPUT " ver"<cr>
  line show ver

! a message shorter than what the client has shown leaves nothing of it
SESSION telnet 80 vt100
HEX ff fe 01
CLIENT "show version"
INPUT "show version"
  sent ""
WRITE "x<lf>"
  above "x"
  row "> show version|"

! what a client that echoes cannot have shown is drawn
SESSION telnet 80 vt100
HEX ff fe 01
CLIENT "show vx"
INPUT "show vx"
  sent ""
CLIENT "<bs> <bs>"
INPUT <bs>
  row "> show v|"
CLIENT "        "
INPUT <tab>
  row "> show version |"
CLIENT "ab"
INPUT "ab"
  row "> show version ab|"
CLIENT "^U"
INPUT <c-u>
  row "> |"

! where the line goes on in its middle, all of it is drawn
SESSION telnet 80 vt100
HEX ff fe 01
CLIENT "show ver"
INPUT "show ver"
CLIENT "^[[D"
INPUT <left>
  row "> show ve|r"
CLIENT "x"
INPUT "x"
  row "> show vex|r"

! an answer that is mended is drawn for a client that echoes
SESSION telnet 80 vt100
HEX ff fe 01
INPUT "name"<cr>
  line name
CLIENT "Anx"
INPUT "Anx"
  sent ""
CLIENT "^H"
INPUT <bs>
  row "Name?: An|"
CLIENT "n"
INPUT "n"
  sent ""
INPUT <cr>
  answer Ann

! a client that asks for our echo later has it
SESSION telnet 80 vt100
HEX ff fe 01
CLIENT "a"
INPUT "a"
  sent ""
HEX ff fd 01
  reply 251 1
INPUT "b"
  row "> ab|"

! a key beyond ASCII rings the bell once
SESSION plain 80 vt100
HEX 61 c3 a9 62
  bell 1
  row "> ab|"
HEX e2 82 ac
  bell 1
HEX f0 9f 98 80
  bell 1
HEX e9
  bell 1

! keys that nothing is bound to are the host's
SESSION plain 80 vt100
FREE-KEYS 1
HEX 61 1a 62
  free key 26
  bell 0
  row "> ab|"
INPUT <esc>"OP"
  free key 4294967289
HEX 07 00
  free key 7
  free key 0
FREE-KEYS 0
HEX 1a
  bell 1
