// How the object is made and ended.

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class GenVlLife : public VendorDevice {
 protected:
  static std::string initialized(const std::string& path) {
    return "GenVlAccess::GenVlAccess - Initialized. DevicePath=(" + path + ")";
  }
  // What a call that needs a device gives.
  static void expect_useless(vlp::GenVlAccess& access) {
    EXPECT_FALSE(access.IsInitialized());
    EXPECT_EQ(vlp::GENVL_E_FAILED, send(access, status_request()));
    EXPECT_EQ(vlp::GENVL_E_FAILED, get_reply(access).code);
    EXPECT_EQ(vlp::GENVL_E_FAILED, get_status(access).code);
    EXPECT_EQ(vlp::GENVL_E_FAILED, access.GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
  }
};

TEST_F(GenVlLife, FoundDeviceIsToldInTheLog) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogVendor));
    EXPECT_TRUE(access->IsInitialized());
    EXPECT_EQ(kFirst, Private(*access).Path());
    EXPECT_THAT(lines(), ElementsAre(initialized(kFirst)));
    expect_closed(*access);
  });
}

TEST_F(GenVlLife, WithoutASerialNumberNothingIsMade) {
  plug();
  run_virtual_serial(1, [this] {
    const Access access = make(&log(0xFFFFFFFF & ~vlp::kLogVendor), &kSettings, nullptr);
    EXPECT_THAT(lines(), IsEmpty());
    const Access again = make(&log(vlp::kLogVendor), &kSettings, nullptr);
    EXPECT_THAT(lines(), ElementsAre("*** GenVlAccess::GenVlAccess - Param Error ***"));
    EXPECT_EQ(nullptr, Private(*again).Usb());
    EXPECT_EQ(nullptr, Private(*again).Port());
    EXPECT_EQ(nullptr, Private(*again).CommandLayer());
    expect_useless(*again);
    EXPECT_THAT(spy().order, IsEmpty());
  });
}

TEST_F(GenVlLife, WithoutItsDeviceItIsOfNoUse) {
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogVendor));
    EXPECT_THAT(lines(), IsEmpty());
    expect_useless(*access);
  });
}

TEST_F(GenVlLife, PortThatGetsNoDeviceEndsTheMaking) {
  plug();
  spy().port_refuses = true;
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogDevice));
    EXPECT_THAT(lines(),
                ElementsAre("new CIOAccess", "CIOAccess::SetWinUSBIO bRC=0 WinUSBIO_Pointer=0x0",
                            "*** GenVlAccess::GenVlAccess - m_pIOAccess create/set failed ***"));
    EXPECT_EQ(nullptr, Private(*access).CommandLayer());
    expect_useless(*access);
  });
}

TEST_F(GenVlLife, EngineThatDoesNotStartEndsTheMaking) {
  plug();
  spy().engine_refuses = true;
  run_virtual_serial(1, [this] {
    const Access access = make(&log(vlp::kLogDevice));
    EXPECT_THAT(
        lines(),
        ElementsAre("new CIOAccess", "CIOAccess::SetWinUSBIO bRC=1 WinUSBIO_Pointer=0x<address>",
                    "*** GenVlAccess::GenVlAccess - CD4CmdIO create/init failed ***"));
    expect_useless(*access);
    EXPECT_THAT(spy().order, IsEmpty());
  });
}

TEST_F(GenVlLife, SettingsGoToTheirPlaces) {
  run_virtual_serial(1, [] {
    const vlp::GenVlSettings settings = {0, 0, 0, 4321, 5000};
    const Access given = Private::Bare(&settings);
    EXPECT_EQ(4321u, Private(*given).MutexWaitMs());
    EXPECT_EQ(2500u, Private(*given).StatusLifeMs());
    const Access none = Private::Bare();
    EXPECT_EQ(20000u, Private(*none).MutexWaitMs());
    EXPECT_EQ(500u, Private(*none).StatusLifeMs());
  });
}

// The policy of the retries, as the engine gets it.
TEST_F(GenVlLife, RetriesAreThoseOfTheSettingsOrTheObjectsOwn) {
  plug();
  run_virtual_serial(1, [] {
    const vlp::GenVlSettings settings = {0, 17, 33, 20000, 5000};
    const Access given = make(nullptr, &settings);
    ASSERT_FALSE(spy().parameters.empty());
    EXPECT_EQ(0u, spy().parameters[0].mode);
    EXPECT_EQ(17u, spy().parameters[0].timing);
    EXPECT_EQ(33u, spy().parameters[0].maximum);
    spy().parameters.clear();
    const Access none = make(nullptr, nullptr);
    ASSERT_FALSE(spy().parameters.empty());
    EXPECT_EQ(1u, spy().parameters[0].mode);
    EXPECT_EQ(1u, spy().parameters[0].timing);
    EXPECT_EQ(50u, spy().parameters[0].maximum);
  });
}

// A command has half the time that the settings name.
TEST_F(GenVlLife, CommandTimeIsHalfOfTwentySecondsWithoutSettings) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make(nullptr, nullptr);
    answer(kFirst, {.message = text("no answer"), .reply = {}});
    const std::uint64_t began = elapsed_ms();
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, text("no answer")));
    EXPECT_EQ(10'000u, elapsed_ms() - began);
  });
}

TEST_F(GenVlLife, OtherWaysToNameADeviceAreNotRead) {
  plug();
  run_virtual_serial(1, [] {
    // A text that must not be read has no terminator.
    const char container[] = {'x'};
    const vlp::GenVlAccess access(reinterpret_cast<const std::uint8_t*>(kSerialNumber), 0xFFFF, 7,
                                  container, &kSettings, nullptr);
    EXPECT_TRUE(access.IsInitialized());
  });
}

TEST_F(GenVlLife, NumbersOfResultsAndChannelsAreThoseThatCallersKnow) {
  EXPECT_EQ(-1, vlp::GENVL_E_FAILED);
  EXPECT_EQ(-2, vlp::GENVL_E_PARAM);
  EXPECT_EQ(-3, vlp::GENVL_E_DEVICE);
  EXPECT_EQ(-4, vlp::GENVL_E_BUFFER);
  EXPECT_EQ(-5, vlp::GENVL_E_NO_REPLY);
  EXPECT_EQ(-7, vlp::GENVL_E_MUTEX_TIMEOUT);
  EXPECT_EQ(-8, vlp::GENVL_E_FATAL);
  EXPECT_EQ(0x10000005u, GENVL_CHANNEL_STATUS);
  EXPECT_EQ(33u, GENVL_CHANNEL_FAX);
}

// --- The end ----------------------------------------------------------------------------------

// The position of the first such call behind another, or the end.
std::size_t behind(const std::vector<std::string>& calls, std::size_t from,
                   const std::string& call) {
  while (from < calls.size() && !calls[from].ends_with(" " + call)) ++from;
  return from;
}

// The mutex, the command layer with its event and locks, the port (its line opens the log), the
// device, the lock.
TEST_F(GenVlLife, EndsItsPartsInTheirOrder) {
  plug();
  run_virtual_serial(1, [this] {
    Access access = make(&log(vlp::kLogDevice));
    // Nothing but the device's own end can close it now.
    EXPECT_TRUE(Private(*access).Usb()->OpenWinUSBDevice(kFirst.c_str()));
    lines();
    platform::watch_calls();
    access.reset();
    const std::vector<std::string> calls = platform::call_trace();
    EXPECT_EQ(1u, spy().handles_closed_before_engine_end);  // the mutex
    EXPECT_THAT(lines(), ElementsAre("delete CIOAccess"));
    const std::size_t mutex = behind(calls, 0, "CloseHandle");
    const std::size_t layer = behind(calls, mutex, "DeleteCriticalSection");
    const std::size_t port = behind(calls, layer, "CreateFileA");
    const std::size_t device = behind(calls, port, "WinUsb_Free");
    const std::size_t file = behind(calls, device, "CloseHandle");
    const std::size_t lock = behind(calls, file, "DeleteCriticalSection");
    EXPECT_LT(lock, calls.size()) << ::testing::PrintToString(calls);
    EXPECT_EQ(calls.size(), behind(calls, lock + 1, "DeleteCriticalSection"));
  });
}

TEST_F(GenVlLife, EndsTheEngineWithItsLastObject) {
  plug();
  run_virtual_serial(1, [] {
    Access first = make();
    Access second = make();
    first.reset();
    EXPECT_EQ(status_item(), ask(*second, status_request()));
  });
}

TEST_F(GenVlLife, EndClosesADeviceThatIsStillOpen) {
  plug();
  run_virtual_serial(1, [] {
    Access access = make();
    const std::string mutex = Private(*access).MutexName();
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    EXPECT_TRUE(channel_is_open(kFirst, kFaxSocket));
    EXPECT_FALSE(mutex_is_free(mutex));
    const vlp::KernelHandle kept(CreateMutexA(nullptr, FALSE, mutex.c_str()));
    access.reset();
    EXPECT_FALSE(channel_is_open(kFirst, kFaxSocket));
    EXPECT_TRUE(mutex_is_free(mutex));
    EXPECT_FALSE(platform::any_lock_held());
    EXPECT_TRUE(make()->IsInitialized());
  });
}

// However often it was opened.
TEST_F(GenVlLife, EndClosesADeviceThatIsOpenSeveralTimes) {
  plug();
  run_virtual_serial(1, [] {
    Access access = make();
    const std::string mutex = Private(*access).MutexName();
    const vlp::KernelHandle kept(CreateMutexA(nullptr, FALSE, mutex.c_str()));
    for (int round = 0; round < 3; ++round) EXPECT_EQ(0, Private(*access).Open());
    access.reset();
    EXPECT_TRUE(mutex_is_free(mutex));
    EXPECT_TRUE(make()->IsInitialized());
  });
}

// The thread of a link that couldn't be closed may still use them.
TEST_F(GenVlLife, EndLeavesPortAndDeviceToALinkThatCouldNotBeClosed) {
  plug();
  run_virtual_serial(1, [this] {
    EXPECT_EQ(1, vlp::XdltInitialize(nullptr));  // the engine stays
    Access access = make(&log(vlp::kLogDevice));
    const std::unique_ptr<vlp::CWinUSB_IO> device(Private(*access).Usb().get());
    const std::unique_ptr<vlp::CIOAccess> port(Private(*access).Port().get());
    EXPECT_EQ(0, Private(*access).Open());
    spy().close_refuses = true;
    lines();
    access.reset();
    EXPECT_THAT(lines(), ElementsAre("### GenVlAccess::~GenVlAccess - port still in use"));
    EXPECT_TRUE(vlp::XdltPortIsInUse(port->Handle()));
    EXPECT_FALSE(platform::any_lock_held());
    close_unclosed();
    EXPECT_FALSE(vlp::XdltPortIsInUse(port->Handle()));
    vlp::XdltUninitialize();
  });
  EXPECT_THAT(lines(), IsEmpty());  // the port knows no log any more
}

TEST_F(GenVlLife, EndWithALostFaxDeviceLeavesNothing) {
  plug();
  run_virtual_serial(1, [] {
    Access access = make();
    const std::string mutex = Private(*access).MutexName();
    EXPECT_EQ(0, access->GenVlFaxChnlOpen(GENVL_CHANNEL_FAX));
    platform::unplug_usb_device(kFirst);
    access.reset();
    EXPECT_TRUE(mutex_is_free(mutex));
    platform::replug_usb_device(kFirst);
    EXPECT_TRUE(make()->IsInitialized());
  });
}

}  // namespace
}  // namespace device_test
