// The command layer's life, and its link: open, close, lost.

#include "tests/d4/cmd_fixture.h"

namespace {

using cmd_test::CmdTest;
using cmd_test::kPort;
using cmd_test::kUntouched;
using cmd_test::kUsual;
using cmd_test::Lines;
using test::elapsed_ms;
using test::run_virtual_parallel;
using vlp::CD4CmdIO;
using vlp::kD4CommandChannel;

class CmdLink : public CmdTest {};

TEST_F(CmdLink, TheObjectUsesTheEngineOnceFromItsMakingToItsEnd) {
  vlp::DbgLog log(nullptr, nullptr, 0, 0);
  vlp::XdltPortOps ops;
  {
    const CD4CmdIO io(&log, kPort, &ops, &kUsual);
    EXPECT_TRUE(io.IsInitialized());
    EXPECT_EQ(io.FatalError(), 0u);
    EXPECT_EQ(fake_engine::calls(), (Lines{"Initialize log"}));
    fake_engine::forget_calls();
  }
  EXPECT_EQ(fake_engine::calls(), (Lines{"Uninitialize"}));
}

TEST_F(CmdLink, MakingAndEndLeaveNoHandleAndNoLock) {
  run_virtual_parallel([] {
    platform::watch_calls();
    {
      vlp::XdltPortOps ops;
      const CD4CmdIO io(nullptr, kPort, &ops, nullptr);
      EXPECT_EQ(platform::calls_of("CreateEventA"), 1u);
      EXPECT_EQ(platform::calls_of("InitializeCriticalSectionAndSpinCount"), 3u);
    }
    EXPECT_EQ(platform::calls_of("DeleteCriticalSection"), 3u);
    EXPECT_EQ(platform::calls_of("CloseHandle"), 1u);
  });
}

TEST_F(CmdLink, ALinkLeftOpenIsClosedBeforeTheEngineIsLeft) {
  run_virtual_parallel([] {
    {
      Device device;
      device.open_channel();
    }
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: CloseChannel 02", "0: Close", "Uninitialize"}));
  });
}

TEST_F(CmdLink, AnEngineThatDidNotStartMakesOpenFailAndCloseSucceedWithoutACall) {
  fake_engine::reset({.initialize = 0});
  vlp::XdltPortOps ops;
  CD4CmdIO io(nullptr, kPort, &ops, &kUsual);
  fake_engine::forget_calls();
  EXPECT_FALSE(io.IsInitialized());
  EXPECT_FALSE(io.D4Open());
  EXPECT_TRUE(io.D4Close());
  EXPECT_EQ(fake_engine::calls(), Lines{});
  EXPECT_EQ(ops.keepPriority, 0u);
}

TEST_F(CmdLink, OpenKeepsPrioritiesReadsOldInputAndSetsTheRetryValues) {
  run_virtual_parallel([] {
    vlp::XdltPortOps ops;
    ops.keepPriority = 0;
    ops.skipDummyRead = 1;
    CD4CmdIO io(nullptr, kPort, &ops, &kUsual);
    fake_engine::forget_calls();
    EXPECT_TRUE(io.D4Open());
    EXPECT_EQ(fake_engine::calls(),
              (Lines{"0: Open port=7 keep=1 skip=0", "0: SetParameters 2 timing=4 mode=1 max=25"}));
    EXPECT_EQ(fake_engine::locks_under("Open"), std::vector<std::size_t>{1});
    EXPECT_TRUE(io.D4Close());
  });
}

TEST_F(CmdLink, WithoutSettingsTheRetryValuesAreItsOwn) {
  run_virtual_parallel([] {
    vlp::XdltPortOps ops;
    CD4CmdIO io(nullptr, kPort, &ops, nullptr);
    EXPECT_TRUE(io.D4Open());
    EXPECT_EQ(fake_engine::calls_of("SetParameters"),
              Lines{"0: SetParameters 2 timing=1 mode=1 max=50"});
  });
}

TEST_F(CmdLink, AFailedOpenSetsNothingAndLeavesNoLink) {
  run_virtual_parallel([] {
    fake_engine::scripts().open.otherwise.result = vlp::XDLT_ERR_REPLY_TIMEOUT;
    vlp::XdltPortOps ops;
    CD4CmdIO io(nullptr, kPort, &ops, &kUsual);
    EXPECT_FALSE(io.D4Open());
    EXPECT_EQ(fake_engine::calls_of("SetParameters"), Lines{});
    io.D4Close();
    EXPECT_EQ(fake_engine::calls_of("Close"), Lines{"0: Close (no link)"});
  });
}

TEST_F(CmdLink, CloseClosesTheOpenChannelsThenTheLink) {
  run_virtual_parallel([] {
    Device device;
    device.open_channel(kD4CommandChannel);
    device.open_channel(vlp::kD4FaxChannel);
    EXPECT_TRUE(device.io.D4Close());
    EXPECT_EQ(fake_engine::calls(),
              (Lines{"0: CloseChannel 02", "0: CloseChannel 21", "0: Close"}));
    EXPECT_EQ(fake_engine::locks_under("Close"), (std::vector<std::size_t>{1, 1, 1}));
    EXPECT_FALSE(platform::any_lock_held());
  });
}

TEST_F(CmdLink, CloseLeavesClosedChannelsAlone) {
  run_virtual_parallel([] {
    Device device;
    device.open_channel(vlp::kD4FaxChannel);
    EXPECT_TRUE(device.io.D4Close());
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: CloseChannel 21", "0: Close"}));
  });
}

TEST_F(CmdLink, AFailedCloseForgetsLinkAndChannelsAllTheSame) {
  for (const std::int32_t result : {1, -1, vlp::XDLT_ERR_NOLINK, vlp::XDLT_ERR_GATE_TIMEOUT}) {
    fake_engine::reset();
    run_virtual_parallel([result] {
      Device device;
      vlp::D4ChannelEntry* const entry = device.open_channel();
      fake_engine::scripts().close_channel.otherwise.result = result;
      fake_engine::scripts().close.otherwise.result = result;
      EXPECT_FALSE(device.io.D4Close()) << result;
      EXPECT_EQ(entry->isOpen, 0u);
      fake_engine::forget_calls();
      device.io.D4Close();
      EXPECT_EQ(fake_engine::calls(), Lines{"0: Close (no link)"});
    });
  }
}

TEST_F(CmdLink, ALostLinkIsStillClosedAtTheEngine) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().write.otherwise.result = vlp::XDLT_ERR_LINK_DOWN;
    EXPECT_FALSE(device.command());
    fake_engine::forget_calls();
    fake_engine::scripts().close_channel.otherwise.result = vlp::XDLT_ERR_REPLY_TIMEOUT;
    fake_engine::scripts().close.otherwise.result = vlp::XDLT_ERR_NOLINK;
    EXPECT_FALSE(device.io.D4Close());
    EXPECT_EQ(fake_engine::calls(), (Lines{"0: CloseChannel 02", "0: Close"}));
    EXPECT_EQ(device.io.FatalError(), 1u) << "only an open clears it";
  });
}

TEST_F(CmdLink, AfterALostLinkAllFailsAtOnceWithoutAnEngineCallUntilCloseAndOpen) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().write.first = {{vlp::XDLT_ERR_PORT_WRITE}, {vlp::XDLT_ERR_LINK_DOWN}};
    fake_engine::scripts().size.otherwise.result = 5;
    EXPECT_FALSE(device.command());
    EXPECT_EQ(elapsed_ms(), 500u);
    EXPECT_EQ(device.io.FatalError(), 1u);
    fake_engine::forget_calls();

    std::uint32_t sizes = 0;
    SetLastError(kUntouched);
    EXPECT_FALSE(device.command());
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_FALSE(device.command(vlp::kD4FaxChannel));
    EXPECT_EQ(device.io.D4OpenChnl(kD4CommandChannel), nullptr);
    EXPECT_FALSE(device.io.D4GetPacketSize(kD4CommandChannel, &sizes));
    EXPECT_EQ(fake_engine::calls(), Lines{});
    EXPECT_EQ(elapsed_ms(), 500u);

    device.io.D4Close();
    EXPECT_FALSE(device.command()) << "a close alone repairs nothing";
    EXPECT_TRUE(device.io.D4Open());
    EXPECT_EQ(device.io.FatalError(), 0u);
    EXPECT_TRUE(device.command());
    EXPECT_EQ(device.count, 5u);
  });
}

TEST_F(CmdLink, AnOpenThatFailsLeavesTheLossInForce) {
  run_virtual_parallel([] {
    Device device;
    fake_engine::scripts().write.first = {{vlp::XDLT_ERR_LINK_DOWN}};
    EXPECT_FALSE(device.command());
    device.io.D4Close();
    fake_engine::scripts().open.first = {{vlp::XDLT_ERR_ENTRY_WRITE}};
    EXPECT_FALSE(device.io.D4Open());
    EXPECT_EQ(device.io.FatalError(), 1u);
    EXPECT_TRUE(device.io.D4Open());
    EXPECT_EQ(device.io.FatalError(), 0u);
  });
}

struct Verdict {
  std::int32_t result;
  bool lost;
};

// Of every call by which a command may learn of it.
TEST_F(CmdLink, ALostLinkIsTellableByItsResult) {
  const Verdict verdicts[] = {
      {vlp::XDLT_ERR_ENTRY_WRITE, true},
      {-51, true},
      {-56, true},
      {-81, true},
      {-84, true},
      {-86, true},
      {-1000, true},
      {-22, true},
      {-24, true},
      {-85, true},
      {-49, false},
      {-33, false},
      {-34, false},
      {-8, false},
      {-1, false},
      {-20, false},
      {-21, false},
      {-23, false},
      {-25, false},
      {-26, false},
      {-31, false},
  };
  for (const Verdict& verdict : verdicts) {
    fake_engine::reset();
    run_virtual_parallel([&verdict] {
      const std::int32_t result = verdict.result;
      const std::uint32_t fatal = verdict.lost ? 1 : 0;
      {
        Device device;
        fake_engine::scripts().open_channel.otherwise.result = result;
        EXPECT_FALSE(device.command());
        EXPECT_EQ(device.io.FatalError(), fatal) << "opening a channel: " << result;
      }
      fake_engine::reset({.write = {{}, {result}}});
      {
        Device device;
        EXPECT_FALSE(device.command());
        EXPECT_EQ(device.io.FatalError(), fatal) << "writing: " << result;
      }
      fake_engine::reset({.size = {{}, {result}}});
      {
        Device device;
        EXPECT_FALSE(device.command());
        EXPECT_EQ(device.io.FatalError(), fatal) << "asking for the size: " << result;
      }
      fake_engine::reset({.size = {{}, {5}}, .fetch = {{}, {result}}});
      {
        Device device;
        EXPECT_FALSE(device.command());
        EXPECT_EQ(device.io.FatalError(), fatal) << "fetching: " << result;
      }
    });
  }
}

}  // namespace
