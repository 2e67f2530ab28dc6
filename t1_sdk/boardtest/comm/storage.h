// Storage media: 25 MiB written to a FAT medium and read back, with the speeds and the number of wrong bytes.
#pragma once

#include <sys/types.h>

/// Test 4608: the USB sticks of this board.
void t1_sdk_usb_test();
/// Test 4352: the SD card.
void t1_sdk_sd_rw_test();

/// Tests one medium, mounted on /mnt/test: 0 SD card, 1 and 2 USB sticks (every other number is
/// 2), 3 the MA boards' USB stick, 4 their SD card.
/// `*pIResault` becomes 0, or with the reason in `description` (512 bytes): 1 mount, 2 less than 25 MB free,
/// 3 the test file cannot be created in six attempts or there is no memory for its blocks. Wrong bytes are
/// counted and printed; they do not fail the test.
void t1_sdk_hdisk_test(int diskType, int* pIResault, char* description);

/// 0 when the file system at `path` has `needsize` megabytes free; -10 when it cannot be asked, -1 when it
/// has not.
int check_disksize(const char* path, u_int needsize);

/// Another form of the medium's test, for a card mounted on /mnt; no test code leads here. 0 with a summary
/// in `pDescript` (512 bytes), or -1 after one line of text.
int sd_test_rw(char* dev_name, char* pDescript);
