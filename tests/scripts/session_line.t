# One session on a plain terminal: what a person types, and what the screen shows.

! the first prompt
SESSION plain 60 xterm
  row "> |"

! a line is matched and its command's output stands between two prompts
SESSION plain 60 xterm
INPUT "show ver"<cr>
  line show ver
  above2 "> show ver"
  above "version 1"
  row "> |"

! CR, LF, CR LF and CR NUL are one Enter each
SESSION plain 60 xterm
INPUT "show ver"<cr>"show ver"<lf>"show ver"<cr><lf>"show ver"<cr><nul>"x"
  line show ver
  line show ver
  line show ver
  line show ver
  row "> x|"

! an empty line only goes to a fresh prompt
SESSION plain 60 xterm
INPUT "  "<cr>
  above ">"
  row "> |"

! an unknown word is pointed at, with what may stand there
SESSION plain 60 xterm
INPUT "show frob"<cr>
  above5 "  show frob"
  above4 "       ^"
  above3 "% unknown word"
  above2 "  long              many rows"
  above "  version           the version"
  row "> |"

! an ambiguous word lists the words it begins
SESSION plain 60 xterm
INPUT "s"<cr>
  above5 "  s"
  above4 "  ^"
  above3 "% ambiguous word"
  above2 "  show              what there is"
  above "  sure              ask for a key"

! an incomplete command is pointed at after its last word
SESSION plain 60 xterm
INPUT "show"<cr>
  above5 "  show"
  above4 "      ^"
  above3 "% incomplete command"

! a quote without its partner is pointed at
SESSION plain 60 xterm
INPUT "show 'ver"<cr>
  above3 "  show 'ver"
  above2 "       ^"
  above "% unmatched quote"

! the empty word is refused where a number is due
SESSION plain 60 xterm
INPUT "width <quot><quot>"<cr>
  above4 "  width <quot><quot>"
  above3 "        ^"
  above2 "% empty word"

! the place of an error in a line longer than the terminal still shows
SESSION plain 30 xterm
INPUT "show version and a tail that does not fit"<cr>
  above4 "  show version and a tail tha"
  above3 "               ^"
  above2 "% unknown word"

! a question mark lists what may come next and leaves the line
SESSION plain 60 xterm
INPUT "show ?"
  above3 "> show"
  above2 "  long              many rows"
  above "  version           the version"
  row "> show |"

! inside a word a question mark lists what it can become
SESSION plain 60 xterm
INPUT "show v?"
  above2 "> show v"
  above "  version           the version"
  row "> show v|"

! a complete command lists the carriage return
SESSION plain 60 xterm
INPUT "show version ?"
  above "  <lt>cr>"
  row "> show version |"

! inside quotes a question mark and a Tab are text
SESSION plain 60 xterm
INPUT "show 'a?"<tab>
  row "> show 'a? |"

! Tab completes a word and adds a blank
SESSION plain 60 xterm
INPUT "sho"<tab>
  row "> show |"
INPUT "v"<tab>
  row "> show version |"

! Tab completes as far as all agree, and a second one lists
SESSION plain 60 xterm
INPUT "s"<tab>
  row "> s|"
INPUT <tab>
  above3 "> s"
  above2 "  show              what there is"
  above "  sure              ask for a key"
  row "> s|"

! a Tab behind another key does not list
SESSION plain 60 xterm
INPUT "s"<tab><left><right><tab>
  row "> s|"
  above ""

! Tab in the middle of a line completes the word at the cursor
SESSION plain 60 xterm
INPUT "sho version"<c-a><right 3>
  row "> sho| version"
INPUT <tab>
  row "> show | version"

! Ctrl-C drops the line and leaves it readable
SESSION plain 60 xterm
INPUT "half a li"<c-c>
  interrupt
  above "> half a li"
  row "> |"

! Ctrl-D on an empty line is the end of input, inside a line it deletes
SESSION plain 60 xterm
INPUT "ab"<c-a><c-d>
  row "> |b"
INPUT <c-d><c-d>
  end
  row "> |"

! history comes back, also a line that was refused
SESSION plain 60 xterm
INPUT "frob"<cr>
INPUT "show ver"<cr>
  line show ver
INPUT <c-p>
  row "> show ver|"
INPUT <c-p>
  row "> frob|"

! a row that only grew behind the cursor is whole all the same
SESSION plain 60 xterm
INPUT "a"
INPUT <c-a>
INPUT "a"
  row "> a|a"

! a paste with a move back shows the whole line
SESSION plain 60 xterm
INPUT "show ip"<esc>"b"
  row "> show |ip"

! redisplay draws the line again below
SESSION plain 60 xterm
INPUT "show"<left><c-l>
  above "> show"
  row "> sho|w"

! echo shows the cursor, on the session's terminal
SESSION plain 60 xterm
INPUT "ab"<left><esc>"e"
  above2 "> ab"
  above "a<lt>>b"
  row "> a|b"

! invoke runs a command by its name, and says what it cannot
SESSION plain 60 xterm
INPUT "move-begin xy"<esc><c-x>
  row "> | xy"
INPUT <c-u><c-k><esc><c-x>
  above "Cannot invoke empty command"
INPUT "nobody x"<esc><c-x>
  above2 "> nobody x"
  above "No command for [nobody]"
  row "> |"
INPUT "a 'b"<esc><c-x>
  above "Unmatched opening ' at column 2"
  row "> a 'b|"
INPUT <c-u>"  "<esc><c-x>
  above "No tokens in command"

! execute-and-restore of a command that clears a scrolled line keeps row and line together
SESSION plain 20 xterm
INPUT "delete-command abcdefghijklmnop"
INPUT <esc><c-t>
INPUT "x"
INPUT <c-a>
  row "> |delete-command a$"

! a command can be run by name with nothing to go on: no argument, no graph entry
SESSION plain 60 xterm
INPUT "execute show ver"<esc><c-x>
  line show ver
  above "version 1"
  row "> |"
INPUT "complete-token"<esc><c-x>
INPUT "expand-token"<esc><c-x>
INPUT "invoke invoke"<esc><c-x>
INPUT "drop-line"<esc><c-x>
  interrupt

! quit is a word like any other
SESSION plain 60 xterm
INPUT "quit"<cr>
  closed 0
INPUT "quit x"<esc><c-x>
  above "No command for [quit]"
  closed 0

! a NUL inside a line ends nothing
SESSION plain 60 xterm
INPUT "show"<nul>" ver"<cr>
  line show ver
  closed 0

! Backspace deletes as DEL and as Ctrl-H
SESSION plain 60 linux
INPUT "ab"<del>"c"<c-h>"d"
  row "> ad|"

! a Tab after the end of input is the first again, and lists nothing
SESSION plain 60 xterm
INPUT <tab><c-d><tab>
  end
  row "> |"
  above ""
