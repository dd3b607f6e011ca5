#pragma once

// What makes a path on the USB be listed and opened under Wine: the registry keys of a device
// interface, a link from the path to a pipe, and the pipe's waiting end. Nothing goes through
// the pipe: whose it is and its sizes tell which device a file was opened for.

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

namespace doubles {

class UsbPlace {
 public:
  // `number` from 1 on tells the devices of a program apart.
  UsbPlace(std::string path, uint32_t number) : path_(std::move(path)), number_(number) {}
  ~UsbPlace() { vanish(); }
  UsbPlace(const UsbPlace&) = delete;
  UsbPlace& operator=(const UsbPlace&) = delete;

  const std::string& path() const { return path_; }

  // False if the keys or the link can't be made.
  bool appear();
  // No longer listed, can't be opened. Its keys stay.
  void vanish();
  // An open takes the waiting end; for the next one there has to be another.
  bool await_next_open();

 private:
  std::string pipe_name() const;

  std::string path_;
  uint32_t number_;
  HANDLE link_ = nullptr;
  HANDLE waiting_ = nullptr;
  HANDLE taken_ = nullptr;
};

// For which device of its process the file was opened; nothing for other files.
std::optional<uint32_t> usb_number_of(HANDLE file);

// The keys of all places there ever were.
void forget_usb_places();

}  // namespace doubles
