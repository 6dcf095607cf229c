# A line longer than the terminal: the text area moves in steps of 8 columns, and
# the guards show at which edge text is hidden.

! text up to the last column but one shows no guard
SESSION 20
KEYS "abcdefghijklmnopq"
  out "<cr>>abcdefghijklmnopq"
  offset 0
  row ">abcdefghijklmnopq|"

! the right guard shows when the text fills the text area
SESSION 20
KEYS "abcdefghijklmnopqr"<c-a>
  out "<cr>>abcdefghijklmnopq$<bs 18>"
  offset 0
  row ">|abcdefghijklmnopq$"

! typing past the edge moves the text by one step and shows the left guard
SESSION 20
KEYS "abcdefghijklmnopq"
  out "<cr>>abcdefghijklmnopq"
KEYS "r"
  out "<bs 17>$ijklmnopqr      <bs 6>"
  offset 8
  row ">$ijklmnopqr|"

! a jump to the end moves by the least number of steps that brings the cursor inside
SESSION 20
KEYS "abcdefghijklmnopqrstuvwxyz0123456789abcdefgh"
  out "<cr>>$6789abcdefgh"
  offset 32
  row ">$6789abcdefgh|"

! going back to within a step of the beginning drops the left guard
SESSION 20
KEYS "abcdefghijklmnopqr"
  out "<cr>>$ijklmnopqr"
  offset 8
KEYS <left 10>
  out "<bs 10>"
  offset 8
  row ">$|ijklmnopqr"
KEYS <left>
  out "<bs>abcdefghijklmnopq$<bs 11>"
  offset 0
  row ">abcdefg|hijklmnopq$"

! going back past the left edge leaves at most a step of text before the cursor
SESSION 20
KEYS "abcdefghijklmnopqrstuvwxyz0123456789abcdefgh"
  out "<cr>>$6789abcdefgh"
KEYS <left 12>
  out "<bs 12>"
  offset 32
  row ">$|6789abcdefgh"
KEYS <left>
  out "yz0123456789abcd$<bs 10>"
  offset 24
  row ">$yz01234|56789abcd$"

! a move by words past the edge scrolls though nothing was marked
SESSION 20
KEYS "show interface brief"
  out "<cr>>$erface brief"
  offset 8
KEYS <esc>"b"<esc>"b"
  out "<bs 13>show interface br$<bs 13>"
  offset 0
  row ">show |interface br$"

! clearing the line scrolls back and drops the guards
SESSION 20
KEYS "abcdefghijklmnopqrst"
  out "<cr>>$ijklmnopqrst"
KEYS <esc><c-w>
  out "<bs 13>             <bs 13>"
  offset 0
  row ">|"

! guards may be longer than one character
SESSION 24
GUARDS "<lt><lt>" ">>"
KEYS "abcdefghijklmnopqrstuvwxyz"
  out "<cr>><lt><lt>ijklmnopqrstuvwxyz"
  offset 8
KEYS <c-a>
  out "<bs 20>abcdefghijklmnopqrst>><bs 22>"
  row ">|abcdefghijklmnopqrst>>"

! at the full length of 255 characters the rest is dropped
SESSION 80
KEYS "<x61 200>"
  out "<cr>>$<x61 72>"
KEYS "<x62 60>"
  out "<bs 56><x62 55> <bs>"
  offset 184
  row ">$<x61 16><x62 55>|"
