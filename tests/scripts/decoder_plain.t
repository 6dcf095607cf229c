# Bytes that belong to no sequence, and bytes held for one that never completes.

! Bytes that can begin no sequence are one run of keys
BIND <esc>"[A" <up>
PREPARE
BYTES "abc"
keys "abc"
used 3

! Without bindings everything is plain
BYTES <esc>"[A"<xff>
keys "<esc>[A<xff>"
used 4

! Bytes of 0x80 and above are keys of the same code
BIND <esc>"[A" <up>
BYTES <x80>"z"<xff 3>
keys "<x80>z<xff 3>"
used 5

! A lone ESC waits for the escape delay and then is the ESC key
BIND <esc>"[A" <up>
PREPARE
BYTES <esc>
used 0
wait 1.000000
TIMEOUT
keys "<esc>"
used 1

! Text before an unfinished sequence is delivered at once
BIND <esc>"[A" <up>
BYTES "ab"<esc>"["
keys "ab"
used 2
wait 1.000000
TIMEOUT
keys "<esc>["
used 2

! The wait is the escape delay that is in force
BIND <esc>"[A" <up>
DELAY 0.250000
was 1.000000
BYTES <esc>
used 0
wait 0.250000
DELAY 3.5
was 0.250000
BYTES "["
used 0
wait 3.500000
BYTES "A"
keys "<up>"
used 3

! A time-out makes plain keys even of a sequence that more bytes would complete
BIND <esc>"[A" <up>
BYTES <esc>"["
used 0
wait 1.000000
TIMEOUT
keys "<esc>["
used 2
BYTES "A"
keys "A"
used 1

! After a time-out the decoder starts afresh
BIND <esc>"[A" <up>
BYTES <esc>
used 0
wait 1.000000
TIMEOUT
keys "<esc>"
used 1
BYTES <esc>"[A"
keys "<up>"
used 3
