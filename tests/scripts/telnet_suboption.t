# Subnegotiations of other options, and those that are cut off.

! an SB without option is kept
BYTES 61 ff fa
  trace "Have some text buffered up"
  data "a"
  trace "Could not consume sub-opt message"
  trace "NVT processing consumed 0<lf>"
  used 1

! an SB without end is kept
BYTES ff fa 05 07
  trace "Could not consume sub-opt message"
  trace "NVT processing consumed 0<lf>"
  used 0

! an unsupported option is skipped up to its SE, which is data
BYTES ff fa 05 07 ff f0
  trace "Skipping unsupported options negotiation for option: 5"
  trace "Consuming unsupported option: 5 (len: 5)"
  trace "Consumed a sub-opt message of length 5"
  trace "NVT processing consumed 5<lf>"
  used 5
  kept "<xf0>"
AGAIN
  data "<xf0>"
  used 1

! an unsupported option without parameters leaves its SE too
BYTES ff fa 05 ff f0 61
  trace "Skipping unsupported options negotiation for option: 5"
  trace "Consuming unsupported option: 5 (len: 4)"
  trace "Consumed a sub-opt message of length 4"
  trace "NVT processing consumed 4<lf>"
  used 4
  kept "<xf0>a"

! a command inside an unsupported option is a command, the byte before it data
BYTES ff fa 05 0d ff f1 ff f0
  trace "Skipping unsupported options negotiation for option: 5"
  trace "Saw an IAC command within the SB/SE: 241"
  trace "Consumed a sub-opt message of length 3"
  trace "NVT processing consumed 3<lf>"
  trace "Have some text buffered up"
  data "<cr>"
  trace "Discarding command NOP (241)"
  trace "NVT processing consumed 2<lf>"
  trace "Saw IAC SE without corresponding IAC SB"
  trace "NVT processing consumed 2<lf>"
  used 8

! an escaped 255 inside an unsupported option is data with the byte before it
QUIET
BYTES ff fa 05 61 ff ff 62 ff f0
  data "a"
  data "<xff>"
  data "b"
  used 9

! an option of 255 with an end after it uses three bytes
BYTES ff fa ff f0 ff f0
  trace "Skipping unsupported options negotiation for option: 255"
  trace "Consuming unsupported option: 255 (len: 3)"
  trace "Consumed a sub-opt message of length 3"
  trace "NVT processing consumed 3<lf>"
  trace "Have some text buffered up"
  data "<xf0>"
  trace "Saw IAC SE without corresponding IAC SB"
  trace "NVT processing consumed 2<lf>"
  used 6

! an option of 255 before a command uses one byte, so that the SB is data
BYTES ff fa ff f1 61 ff f0
  trace "Skipping unsupported options negotiation for option: 255"
  trace "Saw an IAC command within the SB/SE: 241"
  trace "Consumed a sub-opt message of length 1"
  trace "NVT processing consumed 1<lf>"
  trace "Have some text buffered up"
  data "<xfa>"
  trace "Discarding command NOP (241)"
  trace "NVT processing consumed 2<lf>"
  trace "Have some text buffered up"
  data "a"
  trace "Saw IAC SE without corresponding IAC SB"
  trace "NVT processing consumed 2<lf>"
  used 7

! subnegotiations inside one another share the one end there is
QUIET
BYTES ff fa 05 ff fa 06 ff fa 18 00 58 ff f0
  data "<c-e>"
  data "<c-f>"
  term x
  used 13

! a whole opening of a client is understood
QUIET
BYTES ff fd 01 ff fb 1f ff fa 1f 00 50 00 18 ff f0 ff fb 18 ff fa 18 00 58 54 45 52 4d ff f0 ff fd 03 ff fb 03
  naws 80 24
  term xterm
  used 35
