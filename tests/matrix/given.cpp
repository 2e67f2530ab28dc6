// Which families are given which codes.
#include "tests/matrix/given.h"

#include <algorithm>

namespace {

using Names = std::vector<std::string_view>;

// tests/docs_test.sh reads these and the rows line by line.
// clang-format off
const Names kNobody = {"-"};
const Names kCcd = {"6455", "6485", "6484"};
const Names kExpandable = {"normal", "6455", "6485", "6484"};
const Names kModels = {"normal", "k", "6444", "6444-j", "ma", "65xx", "6455", "6485", "65xx-level", "6484"};

const std::vector<GivenCode> kRows = {
    {  -16, "RS485 pan and tilt", {}},
    {  -15, "restart", {}},
    {  513, "alarm 1 in 1 out", {"63xx"}},
    {  518, "alarm 4 in 5 out", {"loop", "loop-c", "68xx-fpga"}},
    {  519, "alarm 4 in 7 out", {"6444"}},
    {  520, "alarm 5 in 3 out", {"normal", "k", "68xx", "68xx-fpga", "ma", "rkd1", "rkd2", "6455", "6485", "6484"}},
    {  521, "alarm 5 in 4 out", kExpandable},
    {  528, "alarm 5 in 5 out", kExpandable},
    {  530, "alarm 8 in 9 out", {"k"}},
    {  531, "alarm 10 in 10 out, switched", {"65xx"}},
    {  532, "alarm 10 in 10 out, levels", {"65xx-level"}},
    {  534, "alarm 3 in 2 out", {"6444-j"}},
    {  535, "alarm 2 in 4 out", {"rkd1", "rkd2"}},
    { 1024, "RS485", {}},
    { 1536, "clock", {}},
    { 1792, "IR-cut filter", {}},
    { 4352, "SD card", {}},
    { 4608, "USB", {}},
    { 7426, "temperature", {}},
    { 9472, "auto-iris", {}},
    { 9728, "set Vsub, 6455", {"6455"}},
    { 9984, "set Vsub, 6485", {"6485"}},
    {10240, "set Vsub, 6484", {"6484"}},
    {10496, "set TG parameters", kModels},
    {10752, "show TG parameters", {}},
    {10768, "auto back focus", {}},
    {10769, "MA self-test", {"ma"}},
    {11009, "raise Vsub, 6455", {"6455"}},
    {11010, "lower Vsub, 6455", {"6455"}},
    {11011, "save Vsub, 6455", {"6455"}},
    {11265, "raise Vsub, 6485", {"6485"}},
    {11266, "lower Vsub, 6485", {"6485"}},
    {11267, "save Vsub, 6485", {"6485"}},
    {11521, "raise Vsub, 6484", {"6484"}},
    {11522, "lower Vsub, 6484", {"6484"}},
    {11523, "save Vsub, 6484", {"6484"}},
    {11776, "automatic level", kCcd},
    {12032, "show Vsub", kNobody},  // fails on every board: no eMMC holds the pairs of a sweep
    {13568, "dead pixels", {}},
    {13824, "flat field", {}},
    {14592, "light", {}},
    {69633, "steady light", {}},
    {69634, "alarm 1 in 3 out", {"rkd1", "rkd2"}},
};
// clang-format on

}  // namespace

const std::vector<GivenCode>& given_codes() {
  return kRows;
}

bool is_given(const GivenCode& row, std::string_view family) {
  return row.families.empty() || std::ranges::find(row.families, family) != row.families.end();
}

bool is_given_to_nobody(const GivenCode& row) {
  return row.families == kNobody;
}
