// Opening and closing the device round an exchange.

#include <atomic>

#include "tests/device/vendor_device.h"

namespace device_test {
namespace {

class GenVlOpen : public VendorDevice {};

TEST_F(GenVlOpen, OpensTheLinkOverItsPortAndSetsTheRetries) {
  plug();
  run_virtual_serial(1, [] {
    const vlp::GenVlSettings settings = {3, 17, 33, 20000, 5000};
    const Access access = make(nullptr, &settings);
    Private inside(*access);
    // What an earlier owner may have left in the table.
    inside.Port()->PortOps()->keepPriority = 0;
    inside.Port()->PortOps()->skipDummyRead = 1;
    spy() = {};
    EXPECT_EQ(0, inside.Open());
    EXPECT_THAT(spy().order, ElementsAre("open", "parameters"));
    EXPECT_THAT(spy().opened, ElementsAre(inside.Port()->Handle()));
    ASSERT_EQ(1u, spy().tables.size());
    EXPECT_EQ(1u, spy().tables[0].keepPriority);
    EXPECT_EQ(0u, spy().tables[0].skipDummyRead);
    ASSERT_EQ(1u, spy().parameters.size());
    EXPECT_EQ(2u, spy().parameters[0].kind);
    EXPECT_EQ(17u, spy().parameters[0].timing);
    EXPECT_EQ(3u, spy().parameters[0].mode);
    EXPECT_EQ(33u, spy().parameters[0].maximum);
    EXPECT_EQ(0u, spy().parameters[0].socket);
    EXPECT_EQ(1u, inside.OpenCount());
    EXPECT_FALSE(mutex_is_free(inside.MutexName()));
    inside.Close();
    EXPECT_THAT(spy().order, ElementsAre("open", "parameters", "close"));
    expect_closed(*access);
  });
}

TEST_F(GenVlOpen, WithoutMutexDeviceOrCommandLayerItFailsAndTakesNoLock) {
  plug();
  run_virtual_serial(1, [] {
    for (int missing = 0; missing < 3; ++missing) {
      Access access = make();
      Private inside(*access);
      auto usb = std::move(inside.Usb());
      auto layer = std::move(inside.CommandLayer());
      if (missing != 1) inside.Usb() = std::move(usb);
      if (missing != 2) inside.CommandLayer() = std::move(layer);
      if (missing == 0) inside.Mutex().Reset();
      platform::watch_calls();
      EXPECT_EQ(vlp::GENVL_E_FAILED, inside.Open());
      EXPECT_EQ(0u, platform::calls_of("EnterCriticalSection"));
      EXPECT_EQ(0u, platform::calls_of("WaitForSingleObject"));
      EXPECT_EQ(0u, device_calls());
      EXPECT_EQ(0u, inside.OpenCount());
      platform::clear_faults();
      // Back, so that what it still refers to ends behind it.
      if (missing == 1) inside.Usb() = std::move(usb);
      if (missing == 2) inside.CommandLayer() = std::move(layer);
    }
  });
}

TEST_F(GenVlOpen, OpenInsideAnOpenOnlyCounts) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    platform::watch_calls();
    EXPECT_EQ(0, inside.Open());
    EXPECT_EQ(0, inside.Open());
    EXPECT_EQ(3u, inside.OpenCount());
    inside.Close();
    inside.Close();
    EXPECT_EQ(1u, inside.OpenCount());
    EXPECT_EQ(0u, device_calls());
    EXPECT_EQ(0u, platform::calls_of("WaitForSingleObject"));
    EXPECT_EQ(0u, platform::calls_of("ReleaseMutex"));
    EXPECT_TRUE(inside.Usb()->IsOpened());
    inside.Close();
    expect_closed(*access);
  });
}

TEST_F(GenVlOpen, OpenInsideALostOneIsFatalAndLeavesTheCount) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    inside.SetFatal(1);
    EXPECT_EQ(vlp::GENVL_E_FATAL, inside.Open());
    EXPECT_EQ(1u, inside.OpenCount());
    EXPECT_EQ(1u, inside.Fatal());
    EXPECT_EQ(vlp::GENVL_E_FATAL, send(*access, status_request()));
    inside.Close();
    expect_closed(*access);
    // The next one begins anew.
    EXPECT_EQ(1u, inside.Fatal());
    EXPECT_EQ(0, inside.Open());
    EXPECT_EQ(0u, inside.Fatal());
    inside.Close();
  });
}

// Counts while the first opens, and finds the device open.
TEST_F(GenVlOpen, SecondThreadWaitsForTheFirstOnesOpening) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    Holder holder(inside.MutexName());
    std::atomic<std::int32_t> first{-99};
    std::atomic<std::int32_t> second{-99};
    // The mutex is the opener's, who has to close last.
    TestThread opener = spawn("first", [&] {
      first = inside.Open();
      sleep_ms(1000);
      inside.Close();
    });
    settle();
    TestThread other = spawn("second", [&] {
      second = inside.Open();
      inside.Close();
    });
    settle();
    EXPECT_EQ(-99, second);
    holder.let_go_at_ms(300);
    settle();
    EXPECT_EQ(0, first);
    other.join();
    EXPECT_EQ(0, second);
    EXPECT_EQ(300u, elapsed_ms());
    EXPECT_TRUE(inside.Usb()->IsOpened());
    opener.join();
    expect_closed(*access);
  });
}

TEST_F(GenVlOpen, DeviceThatCannotBeOpenedGivesTheMutexBack) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    platform::unplug_usb_device(kFirst);
    spy() = {};
    EXPECT_EQ(vlp::GENVL_E_DEVICE, inside.Open());
    EXPECT_THAT(spy().order, IsEmpty());
    expect_closed(*access);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, status_request()));
    EXPECT_EQ(0u, inside.Fatal());
    expect_closed(*access);
    platform::replug_usb_device(kFirst);
    EXPECT_EQ(status_item(), ask(*access, status_request()));
  });
}

TEST_F(GenVlOpen, EngineThatDidNotStartClosesTheDeviceAgain) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    auto started = std::move(inside.CommandLayer());
    spy() = {.engine_refuses = true};
    inside.CommandLayer() = std::make_unique<vlp::CD4CmdIO>(nullptr, inside.Port()->Handle(),
                                                            inside.Port()->PortOps(), &kSettings);
    platform::watch_calls();
    EXPECT_EQ(vlp::GENVL_E_DEVICE, inside.Open());
    EXPECT_EQ(1u, platform::calls_of("WinUsb_Initialize"));
    EXPECT_EQ(1u, platform::calls_of("WinUsb_Free"));
    EXPECT_THAT(spy().order, IsEmpty());
    expect_closed(*access);
    inside.CommandLayer() = std::move(started);
    EXPECT_EQ(0, inside.Open());
    inside.Close();
    platform::clear_faults();
  });
}

// The same where the engine isn't there any more at the close.
TEST_F(GenVlOpen, CloseWithoutTheEngineClosesTheDeviceAndGivesTheMutexBack) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    inside.CommandLayer().reset();  // closes its link
    spy() = {.engine_refuses = true};
    inside.CommandLayer() = std::make_unique<vlp::CD4CmdIO>(nullptr, inside.Port()->Handle(),
                                                            inside.Port()->PortOps(), &kSettings);
    inside.Close();
    EXPECT_THAT(spy().order, IsEmpty());
    expect_closed(*access);
  });
}

TEST_F(GenVlOpen, RefusedLinkClosesTheDeviceAndTheNextAttemptWorks) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    with(kFirst, [](UsbPrinter& printer, std::uint64_t) {
      printer.device().options().replies = {
          {.command = simulator::D4Command::init, .result = std::uint8_t{1}}};
    });
    for (int round = 0; round < 20; ++round) {  // more often than there are links
      EXPECT_EQ(vlp::GENVL_E_DEVICE, inside.Open());
      expect_closed(*access);
    }
    EXPECT_EQ(vlp::GENVL_E_DEVICE, send(*access, status_request()));
    with(kFirst,
         [](UsbPrinter& printer, std::uint64_t) { printer.device().options().replies = {}; });
    EXPECT_EQ(status_item(), ask(*access, status_request()));
    expect_closed(*access);
  });
}

TEST_F(GenVlOpen, FailedOpenLeavesWhatWasFatalAndAGoodOneForgetsIt) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    inside.SetFatal(1);
    platform::unplug_usb_device(kFirst);
    EXPECT_EQ(vlp::GENVL_E_DEVICE, inside.Open());
    EXPECT_EQ(1u, inside.Fatal());
    platform::replug_usb_device(kFirst);
    EXPECT_EQ(0, inside.Open());
    EXPECT_EQ(0u, inside.Fatal());
    EXPECT_FALSE(mutex_is_free(inside.MutexName()));
    inside.Close();
  });
}

// Its read thread may be inside the port for as long as it likes.
TEST_F(GenVlOpen, LinkThatCouldNotBeClosedKeepsTheDeviceShut) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    spy().close_refuses = true;
    inside.Close();
    spy().close_refuses = false;
    platform::watch_calls();
    EXPECT_EQ(vlp::GENVL_E_DEVICE, inside.Open());
    EXPECT_EQ(0u, device_calls());
    EXPECT_TRUE(mutex_is_free(inside.MutexName()));
    platform::clear_faults();
    close_unclosed();
    EXPECT_EQ(status_item(), ask(*access, status_request()));
  });
}

TEST_F(GenVlOpen, CloseOfAClosedOneDoesNothing) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    spy() = {};
    platform::watch_calls();
    Private(*access).Close();
    EXPECT_EQ(0u, device_calls());
    EXPECT_EQ(0u, platform::calls_of("ReleaseMutex"));
    EXPECT_THAT(spy().order, IsEmpty());
    EXPECT_EQ(0u, Private(*access).OpenCount());
  });
}

TEST_F(GenVlOpen, OutermostCloseClosesChannelsLinkDeviceAndMutexInThisOrder) {
  plug();
  run_virtual_serial(1, [] {
    const Access access = make();
    Private inside(*access);
    EXPECT_EQ(0, inside.Open());
    for (const uint32_t channel : {GENVL_CHANNEL_STATUS, GENVL_CHANNEL_FAX}) {
      EXPECT_NE(nullptr, inside.CommandLayer()->D4OpenChnl(channel));
    }
    const auto packets = [] {
      std::uint64_t count = 0;
      with(kFirst,
           [&](UsbPrinter& printer, std::uint64_t) { count = printer.device().host_packets(); });
      return count;
    };
    const std::uint64_t before = packets();
    EXPECT_TRUE(channel_is_open(kFirst, kCommandSocket));
    EXPECT_TRUE(channel_is_open(kFirst, kFaxSocket));
    platform::watch_calls();
    inside.Close();
    EXPECT_EQ(before + 3, packets());  // two channels and the link
    const std::vector<std::string> calls = platform::call_trace();
    std::vector<std::string> ends;
    for (const std::string& line : calls) {
      const std::string call = line.substr(line.rfind(' ') + 1);
      if (call == "WinUsb_WritePipe" || call == "WinUsb_Free" || call == "ReleaseMutex") {
        ends.push_back(call);
      }
    }
    EXPECT_THAT(ends, ElementsAre("WinUsb_WritePipe", "WinUsb_WritePipe", "WinUsb_WritePipe",
                                  "WinUsb_Free", "ReleaseMutex"));
    platform::clear_faults();
    expect_closed(*access);
  });
}

}  // namespace
}  // namespace device_test
