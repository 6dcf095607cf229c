# What a redraw writes, byte for byte, and what the terminal then shows.

! an empty line shows the prompt, drawn whole at first
SESSION 80
REDRAW
  out "<cr>>"
  row ">|"

! characters typed at the end are written as they are
SESSION 80
KEYS "s"
  out "<cr>>s"
KEYS "how"
  out "how"
  row ">show|"

! nothing new writes nothing
SESSION 80
KEYS "show"
  out "<cr>>show"
REDRAW
  row ">show|"

! delete-character-back at the end of the line erases in place
SESSION 80
KEYS "show"
  out "<cr>>show"
KEYS <del>
  out "<bs> <bs>"
  row ">sho|"

! a character typed in the middle rewrites the tail and goes back
SESSION 80
KEYS "shw"
  out "<cr>>shw"
KEYS <left>
  out "<bs>"
KEYS "o"
  out "ow<bs>"
  row ">sho|w"

! a move right prints again what it passes
SESSION 80
KEYS "show"
  out "<cr>>show"
KEYS <c-a>
  out "<bs 4>"
  row ">|show"
KEYS <right>
  out "s"
  row ">s|how"
KEYS <c-e>
  out "how"
  row ">show|"

! a move by words goes by the cursor alone
SESSION 80
KEYS "show ip"
  out "<cr>>show ip"
KEYS <esc>"b"
  out "<bs 2>"
  row ">show |ip"
KEYS <esc>"f"
  out "ip"
  row ">show ip|"

! without a prompt the row's beginning is reached by a carriage return
SESSION 80
PROMPT ""
KEYS "show"
  out "<cr>show"
KEYS <c-a>
  out "<cr>"
  row "|show"

! deleting to the end blanks what stood there
SESSION 80
KEYS "show ip"<esc>"b"
  out "<cr>>show ip<bs 2>"
KEYS <c-k>
  out "  <bs 2>"
  row ">show |"

! deleting in the middle moves the tail and blanks what is after it
SESSION 80
KEYS "show ip route"<esc>"b"<esc>"b"
  out "<cr>>show ip route<bs 8>"
KEYS <esc>"d"
  out "route   <bs 8>"
  row ">show |route"

! a row that differs from its first character on is written whole
SESSION 80
KEYS "show"
  out "<cr>>show"
PROMPT "dev# "
REDRAW
  out "<cr>dev# show"
  row "dev# show|"

! a shorter row that differs from its first character on has the rest blanked
SESSION 80
PROMPT "dev# "
KEYS "show"
  out "<cr>dev# show"
PROMPT ">"
REDRAW
  out "<cr>>show    <bs 4>"
  row ">show|"

! a prompt change with the cursor in the middle goes back to it
SESSION 80
KEYS "show"<left>
  out "<cr>>show<bs>"
PROMPT "#"
REDRAW
  out "<cr>#show<bs>"
  row "#sho|w"

! other output begins on a fresh row and the line is drawn whole below it
SESSION 80
KEYS "ab"<left>
  out "<cr>>ab<bs>"
KEYS <c-l>
  std "<lf><cr>"
  out "<cr><lf><cr>>ab<bs>"
  row ">a|b"

! a full draw blanks nothing: the tail of a longer row stays
SESSION 80
KEYS "show interfaces"
  out "<cr>>show interfaces"
FEED <c-u>"ip"
FULL
REDRAW
  out "<cr>>ip"
  row ">ip|ow interfaces"

! a row that only grows after the cursor is written up to the cursor
SESSION 80
KEYS "a"
  out "<cr>>a"
KEYS <c-a>
  out "<bs>"
KEYS "a"
  out "a"
  row ">a|"
  line "a|a"

! a paste followed by a move back shows no more than the cursor passed
SESSION 80
REDRAW
  out "<cr>>"
KEYS "show ip"<esc>"b"
  out "show "
  row ">show |"
  line "show |ip"

! a change and a move back over an unchanged row only moves
SESSION 80
KEYS "show"
  out "<cr>>show"
KEYS "x"<del><c-b>
  out "<bs>"
  row ">sho|w"
