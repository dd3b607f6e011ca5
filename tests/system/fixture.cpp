#include "tests/system/fixture.h"

#include <algorithm>
#include <cstdio>

#include "tests/system/session.h"

namespace system_test {
namespace {

using namespace std::string_literals;

constexpr std::uint32_t kMarkerId = 0x4D41524B;
constexpr const char* kMarker = "Marker printer";

std::string NumberedLine(const char* key, std::size_t number, std::uint32_t value) {
  char line[64];
  std::snprintf(line, sizeof(line), "%s%02u=0x%X\n", key, static_cast<unsigned>(number), value);
  return line;
}

// "LPT_ChnlStsCmd00=1B,40", as a profile lists bytes.
std::string BytesLine(const char* key, std::size_t number, const Bytes& bytes) {
  char text[32];
  std::snprintf(text, sizeof(text), "%s%02u=", key, static_cast<unsigned>(number));
  std::string line = text;
  for (const std::uint8_t byte : bytes) {
    std::snprintf(text, sizeof(text), "%02X,", static_cast<unsigned>(byte));
    line += text;
  }
  line.back() = '\n';
  return line;
}

// "12:34.567 [PID:1 TID:2] : text" without what stands before the text.
std::string WithoutHead(const std::string& line) {
  const std::size_t head = line.find("] : ");
  if (head == std::string::npos) return line;
  return (line.starts_with("### ") ? "### " : "") + line.substr(head + 4);
}

}  // namespace

std::string ProfileLines(const std::vector<Channel>& channels, const std::string& more) {
  std::string lines;
  for (std::size_t n = 0; n < channels.size(); ++n) {
    lines += NumberedLine("LPT_Channel", n, channels[n].kind);
    lines += NumberedLine("LPT_ChnlMode", n, channels[n].mode);
    if (channels[n].status_command.empty()) continue;
    lines += BytesLine("LPT_ChnlStsCmd", n, channels[n].status_command);
  }
  return lines + more;
}

Bytes TextStatusRequest() {
  return bytes_of(
      "\x1B@\x1B@\x1B(R\x08\x00\x00REMOTE1ST\x02\x00\x00\x01ST\x01\x00\x01\x1B\x00\x00\x00"s);
}

void SystemTest::SetUp() {
  BeginSession();
  far_side::reset();
}

void SystemTest::TearDown() {
  provider_.reset();
  EXPECT_THAT(far_side::breaches(), ::testing::IsEmpty());
  EXPECT_EQ(far_side::live_objects(), far_side::LiveObjects{}) << "COM objects are left";
  if (far_side::serves(far_side::Feature::task_memory_count)) {
    EXPECT_EQ(far_side::task_blocks(), 0U);
  }
  EXPECT_EQ(EndSession(), "");
}

Provider& SystemTest::Load() {
  provider_ = std::make_unique<Provider>();
  return *provider_;
}

void SystemTest::AddPrinter(const std::string& name, const std::string& port,
                            const std::string& device_id, const std::vector<Channel>& channels,
                            const std::string& more_lines) {
  std::string driver = "Driver " + port;
  std::replace(driver.begin(), driver.end(), ':', '_');
  far_side::add_model(driver, ProfileLines(channels, more_lines));
  far_side::add_printer({.name = name, .port = port, .driver = driver});
  far_side::set_device_id(port, bytes_of(device_id));
}

void SystemTest::AddLaser() {
  AddPrinter(kLaser, "USB001", kLaserId, {{ChnlKindBdc, 7, TextStatusRequest()}});
}

void SystemTest::LogTo(std::uint32_t mask) {
  log_folder_ = far_side::fresh_log_directory();
  far_side::set_log({.flag = mask, .path = log_folder_});
}

std::string SystemTest::Log(const std::string& printer) const {
  return far_side::read_file(LogFile(printer)).value_or(std::string());
}

std::vector<std::string> SystemTest::LogLines(const std::string& printer) const {
  const std::string text = Log(printer);
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find("\r\n", at), text.size());
    if (end != at) lines.push_back(WithoutHead(text.substr(at, end - at)));
    at = end + 2;
  }
  return lines;
}

void SystemTest::ExpectNothingQueued() {
  far_side::add_printer({.name = kMarker, .port = "USB999"});
  far_side::set_device_id("USB999", bytes_of("marker"));
  ASSERT_EQ(provider().DeviceId(kMarkerId, kMarker), 0);
  const Result first = provider().Take();
  EXPECT_EQ(first.request_id, kMarkerId) << "a result lay in the queue before";
}

}  // namespace system_test
