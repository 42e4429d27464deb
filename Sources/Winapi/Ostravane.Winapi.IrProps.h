// IrProps: the Bluetooth radio and device functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <bluetoothapis.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "irprops.cpl" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API IrProps final {
  OV_STATIC_CLASS
 public:
  IrProps() = delete;
  static constexpr TModuleName C_MODULE{L"irprops.cpl"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Plain, BluetoothFindFirstRadio, "BluetoothFindFirstRadio", ::BluetoothFindFirstRadio)
  OV_LATE_BOUND(Boolean, BluetoothFindNextRadio, "BluetoothFindNextRadio", ::BluetoothFindNextRadio)
  OV_LATE_BOUND(Boolean, BluetoothFindRadioClose, "BluetoothFindRadioClose", ::BluetoothFindRadioClose)
  OV_LATE_BOUND(Plain, BluetoothGetRadioInfo, "BluetoothGetRadioInfo", ::BluetoothGetRadioInfo)
  OV_LATE_BOUND(Plain, BluetoothFindFirstDevice, "BluetoothFindFirstDevice", ::BluetoothFindFirstDevice)
  OV_LATE_BOUND(Boolean, BluetoothFindNextDevice, "BluetoothFindNextDevice", ::BluetoothFindNextDevice)
  OV_LATE_BOUND(Boolean, BluetoothFindDeviceClose, "BluetoothFindDeviceClose", ::BluetoothFindDeviceClose)
  OV_LATE_BOUND(Plain, BluetoothGetDeviceInfo, "BluetoothGetDeviceInfo", ::BluetoothGetDeviceInfo)
  OV_LATE_BOUND(Plain, BluetoothUpdateDeviceRecord, "BluetoothUpdateDeviceRecord", ::BluetoothUpdateDeviceRecord)
};

}  // namespace Ostravane
