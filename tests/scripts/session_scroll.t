# Lines longer than the row, and sizes that leave little room.

! far to the right in one round after going back over a long line
SESSION plain 80 xterm
PROMPT ">"
INPUT <x61 200><c-a><c-f 84>
  row ">$<x61 68>|<x61 8>$"
INPUT "b"
  closed 0

! a word move over a long word, redrawn key by key
SESSION plain 80 xterm
PROMPT ">"
INPUT <x61 83>" "<x62 100>
INPUT <c-a>
INPUT <esc>"f"
  closed 0
INPUT "c"
  row ">$<x61 67> c|<x62 7>$"

! a line that is run is written whole, on as many rows as it takes
SESSION plain 12 vt100
INPUT "show version"
  row "> $ersion|"
INPUT <cr>
  line show version
  sent "<bs 7>show version<cr><lf>version 1<cr><lf>> "

! the same from its beginning, where the right of it is hidden
SESSION plain 12 vt100
INPUT "show version"<c-a>
  row "> |show ver$"
INPUT <cr>
  line show version
  sent "show version<cr><lf>version 1<cr><lf>> "

! a line that fits is not written again
SESSION plain 12 vt100
INPUT "show ver"
INPUT <cr>
  line show ver
  sent "<cr><lf>version 1<cr><lf>> "

! an answer on a narrow row is not followed by the line
SESSION plain 12 vt100
INPUT "name"<cr>
  line name
INPUT "Ann of the hill"
INPUT <cr>
  answer Ann of the hill
  sent "<cr><lf>welcome<cr><lf>> "

! at the least width a long prompt shows its end, and the line still scrolls
SESSION plain 20 xterm
PROMPT "a-device-with-a-long-name# "
INPUT "abcdefghijklmnopqrstuvwxyz"
INPUT <c-a>
  row "g-name# |abcdefghij$"
INPUT <c-e>
  closed 0

! what is typed, scrolled, searched for and asked stays on one row of 10 columns
SESSION plain 10 xterm
WRITE "a message"<lf>
PROMPT "device(config)# "
INPUT "show ver"<cr>
  line show ver
INPUT "abcdefghijklmnopqrstuvwxyz"
  row "# $yz|"
INPUT <c-a>
  row "# |abcdef$"
INPUT <c-f 20>
  row "# $qrst|u$"
INPUT <c-e>"01"<c-h 3>
  row "# $y|"
INPUT <c-u>"show"
  row "# show|"
INPUT <c-r>"ver"
  row "'r':  ver|"
INPUT <c-c>
  interrupt
ASK "Sure about that? "
  row "|"
INPUT "abcdefghijklmnopqrstuvwxyz"
  row "rstuvwxyz|"
INPUT <c-c>
  closed 0

! what is typed, scrolled, searched for and asked stays on one row of 12 columns
SESSION plain 12 xterm
WRITE "a message"<lf>
PROMPT "device(config)# "
INPUT "show ver"<cr>
  line show ver
INPUT "abcdefghijklmnopqrstuvwxyz"
  row "# $yz|"
INPUT <c-a>
  row "# |abcdefgh$"
INPUT <c-f 20>
  row "# $st|uvwxy$"
INPUT <c-e>"01"<c-h 3>
  row "# $y|"
INPUT <c-u>"show"
  row "# show|"
INPUT <c-r>"ver"
  row "'r': ow ver|"
INPUT <c-c>
  interrupt
ASK "Sure about that? "
  row "|"
INPUT "abcdefghijklmnopqrstuvwxyz"
  row "pqrstuvwxyz|"
INPUT <c-c>
  closed 0

! what is typed, scrolled, searched for and asked stays on one row of 16 columns
SESSION plain 16 xterm
WRITE "a message"<lf>
PROMPT "device(config)# "
INPUT "show ver"<cr>
  line show ver
INPUT "abcdefghijklmnopqrstuvwxyz"
  row "g)# $yz|"
INPUT <c-a>
  row "g)# |abcdefghij$"
INPUT <c-f 20>
  row "g)# $qrst|uvwxy$"
INPUT <c-e>"01"<c-h 3>
  row "g)# $y|"
INPUT <c-u>"show"
  row "g)# show|"
INPUT <c-r>"ver"
  row "'ver': show ver|"
INPUT <c-c>
  interrupt
ASK "Sure about that? "
  row "that? |"
INPUT "abcdefghijklmnopqrstuvwxyz"
  row "that? rstuvwxyz|"
INPUT <c-c>
  closed 0

! what is typed, scrolled, searched for and asked stays on one row of 19 columns
SESSION plain 19 xterm
WRITE "a message"<lf>
PROMPT "device(config)# "
INPUT "show ver"<cr>
  line show ver
INPUT "abcdefghijklmnopqrstuvwxyz"
  row "nfig)# $yz|"
INPUT <c-a>
  row "nfig)# |abcdefghij$"
INPUT <c-f 20>
  row "nfig)# $qrst|uvwxy$"
INPUT <c-e>"01"<c-h 3>
  row "nfig)# $y|"
INPUT <c-u>"show"
  row "nfig)# show|"
INPUT <c-r>"ver"
  row "'ver': show ver|"
INPUT <c-c>
  interrupt
ASK "Sure about that? "
  row "|"
INPUT "abcdefghijklmnopqrstuvwxyz"
  row "ijklmnopqrstuvwxyz|"
INPUT <c-c>
  closed 0

! a line that got short enough shows whole
SESSION plain 30 xterm
INPUT "abcdefghijklmnopqrstuvwxyz0123456789"
INPUT <c-u>"show ver"
  row "> show ver|"

! more input than a decoder takes at once
SESSION plain 80 xterm
INPUT <x61 2100><c-u>"show ver"<cr>
  line show ver

! Ctrl-A and Ctrl-E held down end where the last one went
SESSION plain 80 xterm
INPUT <x61 60><c-a><c-e><c-a><c-e><c-a><c-e><c-a>
  row "> |<x61 60>"
