# Bound sequences among other bytes, and ways that leave a sequence.

! A bound sequence becomes its virtual key
BIND <esc>"[A" <up>
PREPARE
BYTES <esc>"[A"
keys "<up>"
used 3

! Text around a sequence is delivered in its place
BIND <esc>"[A" <up>
PREPARE
BYTES "x"<esc>"[Ay"
keys "x"
keys "<up>"
keys "y"
used 5

! It works without preparing, and with bindings made after preparing
BIND <esc>"[B" <down>
BYTES <esc>"[B"
keys "<down>"
used 3
PREPARE
BIND <esc>"[A" <up>
BYTES <esc>"[A"<esc>"[B"
keys "<up>"
keys "<down>"
used 6

! A sequence may stand for several keys, delivered together
BIND <esc>"OP" "show "<f1>
BYTES <esc>"OP"
keys "show <f1>"
used 3

! ESC before another key is delivered alone
BIND <esc>"[A" <up>
PREPARE
BYTES <esc>"x"
keys "<esc>"
keys "x"
used 2

! A way that leaves its sequence late gives up its first key only
BIND <esc>"[A" <up>
BIND <esc>"[1~" <home>
PREPARE
BYTES <esc>"[1x"
keys "<esc>"
keys "[1x"
used 4

! The second of two ESCs may still begin a sequence
BIND <esc>"[A" <up>
PREPARE
BYTES <esc 2>"[A"
keys "<esc>"
keys "<up>"
used 4

! A sequence within an abandoned one is found
BIND "aab" <f1>
BIND "ab" <f12>
BYTES "aaab"
keys "a"
keys "<f1>"
used 4

! Sequences without ESC are sequences too
BIND <del> <backspace>
BIND <bs> <left>
PREPARE
BYTES "ab"<del><bs 2>
keys "ab"
keys "<backspace>"
keys "<left>"
keys "<left>"
used 5

! Kept bytes complete a sequence with the next ones
BIND <esc>"[A" <up>
PREPARE
BYTES <esc>
used 0
wait 1.000000
BYTES "["
used 0
wait 1.000000
BYTES "Aq"
keys "<up>"
keys "q"
used 4

! Kept bytes that leave the sequence are plain after all
BIND <esc>"[A" <up>
PREPARE
BYTES <esc>"["
used 0
wait 1.000000
BYTES "q"
keys "<esc>"
keys "[q"
used 3

! A sequence that extends a bound one is refused
BIND <esc>"[1" <home>
BIND <esc>"[1~" <end>
refused
PREPARE
BYTES <esc>"[1~"
keys "<home>"
keys "~"
used 4

! A sequence that begins a bound one is refused
BIND <esc>"[1~" <home>
BIND <esc>"[1" <end>
refused
PREPARE
BYTES <esc>"[1~"<esc>"[1"
keys "<home>"
used 4
wait 1.000000

! A binding with a byte of 0x80 or above never matches
BIND <x9b>"A" <up>
PREPARE
BYTES <x9b>"A"
keys "<x9b>A"
used 2

! A binding that begins with 0xe9 has text delivered key by key
BIND <xe9>"A" <up>
PREPARE
BYTES <xe9>"Ab"
keys "<xe9>"
keys "A"
keys "b"
used 3

! The longest sequence has 32 bytes
BIND <esc>"1234567890123456789012345678901" <end>
BYTES <esc>"1234567890123456789012345678901"
keys "<end>"
used 32

! A flood of unfinished sequences uses all but the last
BIND <esc>"[A" <up>
PREPARE
BYTES <esc 5>"["
keys "<esc>"
keys "<esc>"
keys "<esc>"
keys "<esc>"
used 4
wait 1.000000
