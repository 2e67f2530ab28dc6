// The texts, test by test.
#include "tests/matrix/passes.h"

namespace {

// clang-format off
const TestPasses kPasses[] = {
    {{-16},
     "RS485 pan-and-tilt port", "a listening receiver",
     "`/dev/ttyS1` and `/dev/qznio` open, and the driver took all 16 bytes of each of five writes.",
     "that a byte left the board, nor at which speed: nothing is received.",
     "a receiver on the line that shows the command five times ([somebody who "
     "watches](rs485-fixtures.md#somebody-who-watches)), or a camera mount that is seen to move."},
    {{-15},
     "Restart into the application", "wait for the camera",
     "the program understood the request. It replies a second before it asks the system to restart.",
     "that the board restarts, nor that the camera's application comes up. No fault word can show it: between the "
     "request and the reply the test calls nothing of the board.",
     "a station that waits until the connection ends, and then for the camera's application."},
    {{513, 518, 519, 520, 521, 528, 530, 531, 532, 534},
     "Alarm inputs and outputs", "a meter on the contacts",
     "the inputs followed the outputs that the jig wires to them. 520, 521, 528 and 530 look at one input at a "
     "time, in two cycles: it must read differently under two patterns, whichever way round (SYNC of 530: the "
     "right way). 518, 519, 531, 532 and 534 set all outputs, in five cycles, and compare the whole input word. "
     "513 switches its output on and off five times.",
     "that each output works where several hang on one input, that two inputs which are driven together are not "
     "shorted, or what a contact carries. 521 and 528 select the expansion board and then drive the same three "
     "outputs as 520: those of the expansion board are not tested. T2 of 534 has no wire.",
     "a meter on contacts that share an input and between inputs that are driven together, and on the outputs of "
     "an expansion board. Which wire fault each code finds, with which text: [fault-matrix.md](fault-matrix.md)."},
    {{535, 69634},
     "Alarm relays of the RKD boards", "run 535 twice",
     "each alarm input read high and low as its relays and its output ask for: three steps for each input of 535, "
     "six for the one of 69634, each twice in each of two cycles.",
     "that the I/O driver worked to the end: in 535 a port that cannot be set up takes one off the errors of the "
     "port before it. `/dev/alarm` is opened and not used.",
     "a second run of 535, which then fails; a console without `set alarm_in gpio`."},
    {{1024},
     "RS485 ports", "a listening receiver (63xx, rkd2)",
     "with ports in a ring (k, 6444-j, ma, 65xx, rkd1): each receiver heard a frame of 15 and one of 7 bytes that "
     "began with `d0` and had a right checksum. With an echo (most others): the fixture's frame came with a right "
     "checksum, and its second frame was equal to the expected one, as far as its length byte reaches. 63xx: the "
     "driver took all bytes. rkd2: `/dev/qznio` and `/dev/uart1` open.",
     "that what a ring's receiver heard is what was sent: any frame with a right checksum passes. Of the echo the "
     "board sees nothing: that its transmitter works is known only when the fixture checks the echo before it "
     "sends its second frame. On 63xx and rkd2 nobody listens at all.",
     "63xx, rkd2: a receiver that shows the bytes ([somebody who "
     "watches](rs485-fixtures.md#somebody-who-watches)). Echo: a fixture that compares, as `t1station rs485-echo` "
     "does, which ends with 1 when the echo was wrong. Ring: a pair of wires for each direction, not a bus."},
    {{1536},
     "Real-time clock", "the date, and a time without power",
     "between the first and the last of six readings, five seconds apart, the seconds went on by 5 or 6.",
     "that date and time are right, that the clock runs evenly or exactly, or that it goes on without power: "
     "minutes, hours and dates are printed and not looked at.",
     "a look at the six lines of the console; to know the battery, a comparison after some minutes without power."},
    {{1792},
     "IR-cut filter", "look at the filter",
     "motor boards and rkd: `/dev/motor` opened, took its configuration and accepted five moves. loop, loop-c: the "
     "first of the two switches of each cycle was accepted, if the board could tell that it is one. 63xx, 65xx: "
     "nothing.",
     "that a filter moved. No position is read, but for the home switch of 65xx, which ends the way back and "
     "decides nothing.",
     "somebody who sees the filter move, or a picture whose colors change with it."},
    {{4352, 4608},
     "SD card and USB sticks", "read the count of wrong bytes",
     "the medium mounts as vfat, has 25 MB free, takes a new file, and can be unmounted. With two sticks: both.",
     "that what is written can be read again. 25 MiB are written, read and compared, but wrong bytes are counted "
     "on the console and do not fail the test; neither does a stick that is pulled out meanwhile, nor a slow one.",
     "somebody who reads `错误数据0(8bit)` (wrong bytes: 0) and the two speeds on the console, or a PC that "
     "compares the file `usbtest.dat`, which stays on the medium."},
    {{7426},
     "Temperature sensor", "read the temperature",
     "the first of `/proc/debug/temp1` to `temp20` that is there can be read.",
     "that it tells a temperature: what is no number counts as 0.0 degrees. The reply does not carry it.",
     "a comparison of the console's `温度传感器测得当前温度` with the temperature of the room."},
    {{9472},
     "Auto-iris", "look at the iris",
     "65xx, 68xx, rkd: the motor driver opened and took its configuration. 63xx, loop: nothing, the test cannot "
     "fail. Others: `/dev/fpga` opened.",
     "that the iris moved: what moves it is not judged.",
     "somebody who sees the iris close and open twice, or a picture that turns dark and bright."},
    {{9728, 9984, 10240},
     "Set the substrate voltage", "a voltmeter",
     "the parameter was not 0, the store took two writes, and a word of its record could be read from the eMMC.",
     "that the voltage is the one that was asked for. What is read back is not compared; what is applied is the "
     "eMMC's code, on these boards that of the factory; a parameter out of range sets 7.8 V (6484: 8.1 V) and "
     "passes.",
     "a meter on the substrate voltage, and the code on the console (`您输入的数字为`)."},
    {{10496},
     "Store the timing-generator parameters", "compare with get-tg (ma)",
     "`/devinfo/TG.bin` has a block for this model, FPGA and sensor, and every call of the store was answered with "
     "success.",
     "that the record is stored: it is not read back. A line of the file that makes no sense is stored as zeros.",
     "on MA boards `get-tg` afterwards. On all others `get-tg` reads the eMMC and not the flash that was written: "
     "there a picture of the camera decides."},
    {{10752},
     "Show the timing-generator parameters", "compare with the file",
     "the record on the eMMC has the right magic number, at most 128 entries and a right checksum.",
     "that it is the record for this sensor, or that of `set-tg`: on every board but MA it is the factory's.",
     "a comparison of the version and the pairs in the description with `/devinfo/TG.bin`."},
    {{10768},
     "Auto back focus", "run it twice",
     "the motor drove onto its limit switch in less than 1000 steps, and the driver took as many steps back. Where "
     "it stands at the limit at first: 80 steps let the switch go, and the driver took 80 steps back.",
     "that the motor came back: on the way back nothing is looked at.",
     "a second run. A motor that moves one way only stands at its limit then, and fails."},
    {{10769},
     "Self-test of the MA application", "a program that was just started",
     "the application's last answer said of itself, under command 0x23, heart not 0 and start 3.",
     "that this answer is new: while the program runs, a test that gets no answer judges the one before.",
     "a start of the program before the test, or a look at the console, where each answer is a line `MAtest:CMD:`."},
    {{11009, 11010, 11265, 11266, 11521, 11522},
     "Raise and lower the substrate voltage", "a voltmeter",
     "the stored code lies between 0xA00 and 0xAFF, every call of the store was answered with success, and the "
     "eMMC's record has the right magic number and checksum.",
     "that the voltage changed: what applies it is not judged, a step beyond the limit passes and changes nothing, "
     "and the record that is read back (on these boards that of the factory) is not compared.",
     "a meter on the substrate voltage or a look at the picture, and the code on the console (`after trim vsub`)."},
    {{11011, 11267, 11523},
     "Save the substrate voltage", "a voltmeter after a restart",
     "the same as for a step, without applying anything.",
     "that the saved code is what the camera starts with: these boards write it to the flash and read the eMMC.",
     "a meter on the substrate voltage after a restart."},
    {{11776},
     "Automatic level", "read the console",
     "`/dev/qznio` opened and told the model. Nothing else.",
     "that a brightness was measured or stored: whatever the sweep meets is printed and does not fail the test.",
     "a console without errors but `read vsub luma from flash error` and `blkNum 21 offset`, which a good board "
     "has too, and a look at the picture."},
    {{12032},
     "Show the substrate voltage", "read the console",
     "nothing: no board passes. Where the console shows `real vsub:`, the record on the eMMC has the right magic "
     "number and checksum.",
     "anything of the board by its failure: the pairs of a sweep can be read back on no board.",
     "a look at the console's line."},
    {{13568},
     "Dead-pixel table", "a dark picture",
     "4112 bytes could be read from the eMMC, and the first word is the magic number.",
     "that the table is whole or right: its checksum and its entries are not looked at.",
     "a picture with the lens closed, without bright dots."},
    {{13824},
     "Flat-field correction", "a picture of an even surface",
     "the record on the eMMC has the right magic number, and its first checksum is that of bytes 16 to 199.",
     "that the correction belongs to this sensor: length, second checksum and the correction itself are not looked "
     "at.",
     "a picture of an evenly lit surface; version and time of making are on the console (`ff_ver:`)."},
    {{14592},
     "Built-in light", "look at the light",
     "the program ran the test: PWM channel 0 at half for ten seconds, then off. Nothing is judged, it cannot fail.",
     "that there was light.",
     "somebody who sees the light go on and off, or a light sensor before the board."},
    {{69633},
     "Steady light of the RKD boards", "look at the light",
     "the program ran the test: PWM channel 4 at half for ten seconds, on rkd2 LED 2 too, then off. Nothing is "
     "judged, it cannot fail.",
     "that there was light.",
     "somebody who sees the light go on and off (rkd2: and the LED), or a light sensor before the board."},
};
// clang-format on

}  // namespace

std::span<const TestPasses> test_passes() {
  return kPasses;
}
