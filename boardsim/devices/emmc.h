// /dev/mmcblk0p7: the eMMC partition with the factory's records.
#pragma once

#include <sys/types.h>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "boardsim/devices/factory_records.h"
#include "boardsim/devices/partition.h"

namespace boardsim {

/// 0x40000 bytes that can be written over. It comes with the records of the factory.
class Emmc : public Partition {
 public:
  static constexpr std::size_t kSize = 0x40000;

  explicit Emmc(StoragePower& power);

  FaultForms fault_forms() override;
  /// A block device.
  mode_t mode() const override;

  /// Stores what the factory stores on a board.
  void leave_factory(const Hardware& hardware);

 private:
  void damage(const FactoryRecord& record, std::string_view how);
  std::uint8_t after_writing(std::uint8_t old, std::uint8_t written) const override;
};

}  // namespace boardsim
