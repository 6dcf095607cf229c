# Messages, long outputs, questions, changes of the terminal, and the end.

! a message stands above the line that is being typed
SESSION plain 60 xterm
INPUT "show v"<left>
WRITE "news<lf>"
  above "news"
  row "> show |v"

! a message without a line end gets one
SESSION plain 60 xterm
INPUT "show"
WRITE "news"
  above "news"
  row "> show|"

! messages follow each other
SESSION plain 60 xterm
INPUT "show"
WRITE "one<lf>two<lf>"
WRITE "three<lf>"
  above3 "one"
  above2 "two"
  above "three"
  row "> show|"

! a long output stops when the screen is full and asks for a key
SESSION plain 60 xterm
INPUT "show long"<cr>
  line show long
  above "row 11"
  row "--More--|"
INPUT <cr>
  above "row 12"
  row "--More--|"
INPUT " "
  above "row 23"
  row "--More--|"
INPUT "q"
  cancelled after 23
  above "row 23"
  row "> |"

! Ctrl-C ends a long output
SESSION plain 60 xterm
INPUT "show long"<cr>
  line show long
INPUT <c-c>
  cancelled after 11
  row "> |"

! a key that a full screen does not know ends the output and begins the next line
SESSION plain 60 xterm
INPUT "show long"<cr>
  line show long
INPUT "exi"
  cancelled after 11
  row "> exi|"

! so does a key of the editor
SESSION plain 60 xterm
INPUT "show long"<cr>
  line show long
INPUT <up>
  cancelled after 11
  row "> show long|"

! and a paste, whole
SESSION plain 60 xterm
INPUT "show long"<cr>
  line show long
INPUT <esc>"[200~ qshow ver"<esc>"[201~"
  cancelled after 11
  row ">  qshow ver|"

! a full screen says which keys there are
SESSION plain 60 xterm
INPUT "show long"<cr>
  line show long
INPUT "?"
  row "space: page, Enter: row, q: quit|"
INPUT <cr>
  above "row 12"
  row "--More--|"

! a full screen after a smaller window shows a smaller page
SESSION plain 60 xterm
INPUT "show long"<cr>
  line show long
RESIZE 60 6
INPUT " "
  above "row 16"
  row "--More--|"

! lines after an output that makes a pause are run when it is through
SESSION plain 60 xterm
UNPAGED
ROWS 20000
INPUT "show long"<cr>"show ver"<cr>
  line show long
  line show ver
  above3 "row 20000"
  above "version 1"
  row "> |"

! what fits the screen asks nothing
SESSION plain 60 xterm
ROWS 11
INPUT "show long"<cr>
  line show long
  above "row 11"
  row "> |"

! the last page ends with the prompt
SESSION plain 60 xterm
ROWS 22
INPUT "show long"<cr>
  line show long
INPUT " "
  above "row 22"
  row "> |"

! a message during a long output stands above its prompt
SESSION plain 60 xterm
INPUT "show long"<cr>
  line show long
WRITE "news<lf>"
  above "news"
  row "--More--|"

! a long output pauses while the host can take no more
SESSION plain 60 xterm
INPUT "show long"
WRITABLE 0
INPUT <cr>
  row "> show long|"
WRITABLE 1
  line show long
  above "row 11"
  row "--More--|"

! a password is neither shown nor remembered
SESSION plain 60 xterm
INPUT "login"<cr>
  line login
  row "Password: |"
INPUT "secret"
  row "Password: |"
INPUT <del>"T"<cr>
  answer secreT
  above2 "Password:"
  above "welcome"
  row "> |"
INPUT <c-p>
  row "> login|"

! Ctrl-C cancels a question
SESSION plain 60 xterm
INPUT "login"<cr>"abc"<c-c>
  line login
  answer (none)
  row "> |"

! Ctrl-U empties an answer
SESSION plain 60 xterm
INPUT "login"<cr>"abc"<c-u>"x"<cr>
  line login
  answer x

! an answer holds 127 characters
SESSION plain 60 xterm
INPUT "login"<cr>"<x61 127>"<cr>
  line login
  answer aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa

! a longer answer is refused, and asked for again
SESSION plain 60 xterm
INPUT "login"<cr>"<x61 127>"
  line login
INPUT "bc"
  bell 1
INPUT <cr>
  above "% answer too long, 127 characters at most"
  row "Password: |"
INPUT "d"<cr>
  answer d

! an answer that is not secret shows, and its end where it is too long
SESSION plain 20 xterm
INPUT "name"<cr>
  line name
  row "Name?: |"
INPUT "abcdefghijklm"
  row "Name?: bcdefghijklm|"
INPUT <del 3>
  row "Name?: abcdefghij|"
WRITE "news<lf>"
  above "news"
  row "Name?: abcdefghij|"
INPUT <cr>
  answer abcdefghij

! ESC and a character answer nothing
SESSION plain 60 xterm
INPUT "sure"<cr><esc>"b"<up>
  line sure
  row "Sure? |"
INPUT "n"
  key 110

! a paste does not answer a question for one key: it cancels it and is the next line
SESSION plain 60 xterm
INPUT "sure"<cr><esc>"[200~show ver"<cr>"x"<esc>"[201~"
  line sure
  key -1
  line show ver
  row "> x|"

! a paste answers a question
SESSION plain 60 xterm
INPUT "name"<cr><esc>"[200~somebody"<cr>"show ver"<esc>"[201~"
  line name
  answer somebody
  row "> show ver|"

! an ESC before a question begins no command after it
SESSION plain 60 xterm
INPUT "login"<esc>
TIMEOUT
INPUT <cr>
  line login
INPUT "x"<cr>
  answer x

! a question wider than the screen takes several rows
SESSION plain 20 xterm
ASK "Which of them is it to be (all, some, none)? "
  above3 "Which of them is"
  above2 "it to be (all,"
  above "some, none)?"
  row "|"

! one key answers
SESSION plain 60 xterm
INPUT "sure"<cr>
  line sure
  row "Sure? |"
INPUT "y"
  key 121
  row "> |"

! a message during a question asks again below
SESSION plain 60 xterm
INPUT "sure"<cr>
  line sure
WRITE "news<lf>"
  above "news"
  row "Sure? |"

! what is typed ahead is answered in order
SESSION plain 60 xterm
INPUT "login"<cr>"pw"<cr>"show ver"<cr>
  line login
  answer pw
  line show ver
  above "version 1"

! the row follows a change of size, and the prompt one of its text
SESSION plain 60 xterm
INPUT "abcdefghijklmnopqrstuvwxyz"
RESIZE 20 12
  row "> $qrstuvwxyz|"
RESIZE 60 12
PROMPT "device# "
  row "device# abcdefghijklmnopqrstuvwxyz|"
INPUT <c-a>
  row "device# |abcdefghijklmnopqrstuvwxyz"

! sizes are clamped: nothing is too small to edit in
SESSION plain 60 xterm
RESIZE 1 1
INPUT "abcdefghijklmnopqrstuvwxyz"<c-a><right 12><c-e>
RESIZE 0 0
INPUT "x"
  closed 0

! bracketed paste is text, and its line ends run lines
SESSION plain 60 xterm
INPUT <esc>"[200~show ver"<cr><lf>"sh?"<tab>"x"<esc>"[201~"
  line show ver
  row "> sh? x|"

! a paste that never ends is left by Ctrl-C
SESSION plain 60 xterm
INPUT <esc>"[200~abc"<c-c>"show ver"<cr>
  interrupt
  line show ver

! a lone ESC waits for more, and is a key when none comes
SESSION plain 60 xterm
INPUT "show ip"<esc>
  wait 500
TIMEOUT
  wait -1
INPUT "b"
  row "> show |ip"

! a sequence that does not end is dropped when its time has run out
SESSION plain 60 xterm
INPUT "ab"<esc>"[1"
TIMEOUT
INPUT "c"
  row "> abc|"

! exit closes the session, and what follows is ignored
SESSION plain 60 xterm
INPUT "exit"<cr>"show ver"<cr>
  line exit
  over
  closed 1
INPUT "show ver"<cr>

! a failed assertion ends the session with a fault
SESSION plain 60 xterm
INPUT "fault"<cr>"show ver"<cr>
  line fault
  fault p && m (cli_parse
  over
  above "% internal fault, this session ends"
  closed 1

! a shorter prompt leaves nothing of the longer row
SESSION plain 60 xterm
PROMPT "a-long-prompt# "
INPUT "show ver"
PROMPT "> "
  row "> show ver|"

! a message that ends in a carriage return stands on a row of its own
SESSION plain 60 xterm
INPUT "abc"
WRITE "progress 50%"<cr>
  above "progress 50%"
  row "> abc|"

! a page that has not begun fits a window that got smaller
SESSION plain 60 xterm
WRITABLE 0
PAGE
RESIZE 60 5
WRITABLE 1
  above "row 4"
  row "--More--|"

! after a resize all is erased from the row's beginning to the end of the screen
SESSION plain 40 xterm
INPUT "show version"
RESIZE 30 12
  sent "<cr><esc>[J<cr>> show version"

! a terminal that cannot erase has the row blanked
SESSION plain 40 dumb
INPUT "show"
RESIZE 30 12
  sent "<cr>      <cr 2>> show"
