// Every test code that a board answers: the one list for whatever goes through all of them.
#pragma once

// clang-format off
inline constexpr int kTestCodes[] = {
    -16, -15, 513, 518, 519, 520, 521, 528, 530, 531, 532, 534, 535, 1024, 1536, 1792, 4352, 4608, 7426, 9472,
    9728, 9984, 10240, 10496, 10752, 10768, 10769, 11009, 11010, 11011, 11265, 11266, 11267, 11521, 11522, 11523,
    11776, 12032, 13568, 13824, 14592, 69633, 69634};
// clang-format on
