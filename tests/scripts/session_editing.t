# What the line editor of a session has beyond the library's: what was deleted, the
# history, its search, and the bell.

! keys without effect at the line's ends ring
SESSION plain 60 xterm
INPUT <left>
  bell 1
INPUT <right>
  bell 1
INPUT <del>
  bell 1
INPUT <c-k>
  bell 1
INPUT "a"<left>
  bell 0
INPUT <c-a>
  bell 0

! an unknown word rings at Tab
SESSION plain 60 xterm
INPUT "frob"<tab>
  bell 1
  row "> frob|"

! a character that cannot be typed rings
SESSION plain 60 xterm
INPUT "a"<c-o>"b"
  bell 1
  row "> ab|"

! Ctrl-Y brings back what Ctrl-K took
SESSION plain 60 xterm
INPUT "show version"<left 7><c-k><c-a><c-y>
  row "> version|show"

! and what Ctrl-U, Ctrl-W and Alt-D took
SESSION plain 60 xterm
INPUT "one two"<c-u><c-y><c-y>
  row "> one twoone two|"
INPUT <c-w><c-y>
  row "> one twoone two|"
INPUT <c-a><esc>"d"<c-e><c-y>
  row "> twoone twoone |"

! without anything that was taken, it rings
SESSION plain 60 xterm
INPUT "x"<c-y>
  bell 1
  row "> x|"

! Ctrl-W before a word takes the word before
SESSION plain 60 xterm
INPUT "show ip route"<left 5><c-w>
  row "> show |route"

! Ctrl-T transposes
SESSION plain 60 xterm
INPUT "shwo"<c-t>
  row "> show|"
INPUT <c-a><right><c-t>
  row "> hs|ow"
INPUT <c-a><c-t>
  bell 1

! Up keeps what was being typed, and Down brings it back
SESSION plain 60 xterm
INPUT "show ver"<cr>"login"<cr>"x"<cr>"sure"<left><up><up>
  line show ver
  line login
  answer x
  row "> show ver|"
INPUT <up>
  bell 1
INPUT <down><down>
  row "> sur|e"
INPUT <down>
  bell 1

! Ctrl-C forgets where the history was being read
SESSION plain 60 xterm
INPUT "show ver"<cr>"login"<cr>"x"<cr>
  line show ver
  line login
  answer x
INPUT <up><up>
INPUT <c-c>
  interrupt
INPUT <up>
  row "> login|"

! blank lines are not remembered
SESSION plain 60 xterm
INPUT "show ver"<cr>"  "<cr><up>
  line show ver
  row "> show ver|"

! comments are remembered, and not run
SESSION plain 60 xterm
INPUT "! one"<cr>" # two"<cr><up>
  row ">  # two|"
INPUT <up>
  row "> ! one|"

! Ctrl-R searches the history backward
SESSION plain 60 xterm
INPUT "show version"<cr>"show ver"<cr>"login"<cr>"x"<cr><c-r>
  line show version
  line show ver
  line login
  answer x
  row "(search)'': |"
INPUT "how"
  row "(search)'how': show ver|"
INPUT <c-r>
  row "(search)'how': show version|"
INPUT <c-r>
  bell 1
  row "(search)'how': show version|"
INPUT <cr>
  line show version

! a search gives the line back
SESSION plain 60 xterm
INPUT "show version"<cr>"abc"<left><c-r>"ver"
  line show version
  row "(search)'ver': show version|"
INPUT <c-g>
  row "> ab|c"

! arrows edit what a search has found
SESSION plain 60 xterm
INPUT "show version"<cr><c-r>"ver"<left>
  line show version
  row "> show| version"

! Ctrl-C ends a search and drops the line
SESSION plain 60 xterm
INPUT "show version"<cr>
  line show version
INPUT <c-r>"ver"
INPUT <c-c>
  interrupt
  row "> |"

! a search shows at the least width
SESSION plain 20 xterm
INPUT "show version"<cr><c-r>"versi"
  line show version
  row "(search)'i':  versi|"

! a list is paged
SESSION plain 60 xterm
RESIZE 60 5
INPUT "?"
  above "  sure              ask for a key"
  row "--More--|"
INPUT " "
  row "> |"
  above "  fault             fail an assertion"

! the key that ends a list is the line's
SESSION plain 60 xterm
RESIZE 60 5
INPUT "?x"
  row "> x|"

! an error shows as many candidates as fit half the screen
SESSION plain 60 xterm
RESIZE 60 8
INPUT "x"<cr>
  above6 "  ^"
  above5 "% unknown word"
  above4 "  show              what there is"
  above3 "  login             ask for a password"
  above2 "  name              ask for a name"
  above "  and 5 more, which ? lists"

! a wider window shows as much of the line as fits
SESSION plain 30 xterm
INPUT "abcdefghijklmnopqrstuvwxyz0123456789"
RESIZE 60 12
  row "> abcdefghijklmnopqrstuvwxyz0123456789|"

! a search looks for what was typed, and not for the end of the pattern before
SESSION plain 60 xterm
INPUT "show version"<cr><c-r>"version"<c-g>
  line show version
INPUT <c-r>"sh"
  row "(search)'sh': show version|"

! a search gives a remembered line back where that was being edited
SESSION plain 60 xterm
INPUT "show version"<cr><up>"x"<c-r>"sh"
  line show version
INPUT <c-g>
  row "> show versionx|"

! a search without a match shows the end of a long line, and nothing after it
SESSION plain 20 xterm
INPUT "abcdefghijklmnopqrst"<c-u>"0123456789"<c-r>"nothing"
  row "(search)'g': 456789|"

! Ctrl-Y brings back a word that was deleted after blanks
SESSION plain 60 xterm
INPUT "show  ip route"<left 10><esc>"d"<c-e><c-y>
  row "> show  routeip |"

! an answer that was too long and has been erased may be given again
SESSION plain 60 xterm
INPUT "login"<cr>"<x61 128>"<del 127>"y"<cr>
  line login
  answer y
