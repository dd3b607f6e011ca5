// The worker's life as it shows in what calls answer.

#include "tests/bidi/bidi_fixture.h"

#include <objbase.h>

namespace vlp {
namespace {

using bidi_test::Batch;
using bidi_test::BidiFormTest;
using bidi_test::BidiTest;
using bidi_test::Form;
using far_side::bytes_of;

constexpr std::uint32_t kFail = 0x80004005;

class Worker : public BidiTest {};
class WorkerForm : public BidiFormTest {};
INSTANTIATE_TEST_SUITE_P(Both, WorkerForm, ::testing::Values(Form::kSingle, Form::kContainer),
                         bidi_test::FormName);

TEST_F(Worker, HoldsOneInterfaceForTheLifeOfItsObject) {
  EXPECT_EQ(0u, far_side::live_objects().spls);
  Start();
  EXPECT_EQ(1u, far_side::live_objects().spls);
  bidi_.reset();
  EXPECT_EQ(0u, far_side::live_objects().spls);
}

TEST_F(Worker, BelongsToItsObjectAlone) {
  Start();
  const CBidiIF other(nullptr);
  EXPECT_EQ(2u, far_side::live_objects().spls);
  bidi_->StopBidiWorker();
  EXPECT_EQ(1u, far_side::live_objects().spls);
}

// The caller joins no apartment: it uses the one that the worker keeps.
TEST_F(Worker, KeepsTheApartmentThatCallersUse) {
  IUnknown* object = nullptr;
  EXPECT_EQ(CO_E_NOTINITIALIZED,
            CoCreateInstance(CLSID_BidiRequest, nullptr, CLSCTX_ALL, IID_IBidiRequest,
                             reinterpret_cast<void**>(&object)));
  Start();
  SetAnswer({.data = bytes_of("ok")});
  EXPECT_EQ(0, Ask(8));
  bidi_->StopBidiWorker();
  EXPECT_EQ(CO_E_NOTINITIALIZED,
            CoCreateInstance(CLSID_BidiRequest, nullptr, CLSCTX_ALL, IID_IBidiRequest,
                             reinterpret_cast<void**>(&object)));
}

TEST_P(WorkerForm, WithoutAnInterfaceEveryCallIsRefused) {
  far_side::set_trouble({.create_spl = {.result = kFail}});
  Start(kLogBidi);
  EXPECT_EQ(0u, far_side::live_objects().spls);
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(8, GetParam()));
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(8, GetParam()));
  EXPECT_EQ(far_side::Counts{}, Counts());
  EXPECT_EQ(std::string("### ") + ReturnText() + " : rc = -1", Lines().back());
  EXPECT_TRUE(LinesOf("CBidiIF::CallBindDevice Return").empty());
}

TEST_P(WorkerForm, OnceStoppedEveryCallIsRefused) {
  Start(kLogBidi);
  SetAnswer({.data = bytes_of("ok")});
  EXPECT_EQ(0, Ask(8, GetParam()));
  bidi_->StopBidiWorker();
  EXPECT_EQ(0u, far_side::live_objects().spls);
  EXPECT_EQ(VLPER_TERMINATE, Ask(8, GetParam()));
  EXPECT_EQ(VLPER_TERMINATE, Ask(8, GetParam()));
  EXPECT_EQ(1u, Counts().bound);
  EXPECT_EQ(std::string("### ") + ReturnText() + " : rc = -6", Lines().back());
}

TEST_P(WorkerForm, StoppedASecondTimeStaysStopped) {
  Start();
  bidi_->StopBidiWorker();
  bidi_->StopBidiWorker();
  EXPECT_EQ(VLPER_TERMINATE, Ask(8, GetParam()));
}

TEST_P(WorkerForm, ThatNeverStartedCanBeStopped) {
  far_side::set_trouble({.create_spl = {.result = kFail}});
  Start();
  bidi_->StopBidiWorker();
  EXPECT_EQ(VLPER_TERMINATE, Ask(8, GetParam()));
}

TEST_F(Worker, StartIsNotTriedAgain) {
  far_side::set_trouble({.create_spl = {.result = kFail, .at = 1}});
  Start();
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(8));
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(8));
  EXPECT_EQ(0u, far_side::live_objects().spls);
}

TEST_F(Worker, StartWritesNoLine) {
  Start(0xFFFFFFFF);
  EXPECT_EQ(std::nullopt, far_side::read_file(LogPath()));
  far_side::set_trouble({.create_spl = {.result = kFail}});
  Start(0xFFFFFFFF);
  EXPECT_EQ(std::nullopt, far_side::read_file(LogPath()));
}

TEST_F(Worker, RoutineWithoutAnObjectEndsWithAnError) {
  EXPECT_EQ(87u, CBidiIF::BidiWorkerProc(nullptr));
}

TEST_F(Worker, RoutineThatGetsNoInterfaceEndsWithTheLowHalfOfTheFailure) {
  far_side::set_trouble({.create_spl = {.result = 0x800401F3}});
  Start();
  EXPECT_EQ(0x01F3u, CBidiIF::BidiWorkerProc(bidi_.get()));
  EXPECT_EQ(VLPER_NOTSUPPORT, Ask(8));
}

// On an object whose events are closed the routine runs straight through.
TEST_F(Worker, RoutineLeavesTheApartmentAndReleasesTheInterface) {
  Start();
  bidi_->StopBidiWorker();
  EXPECT_EQ(0u, CBidiIF::BidiWorkerProc(bidi_.get()));
  EXPECT_EQ(0u, far_side::live_objects().spls);
  IUnknown* object = nullptr;
  EXPECT_EQ(CO_E_NOTINITIALIZED,
            CoCreateInstance(CLSID_BidiRequest, nullptr, CLSCTX_ALL, IID_IBidiRequest,
                             reinterpret_cast<void**>(&object)));
}

TEST_F(Worker, RoutineGoesOnInAThreadOfAnotherApartmentKind) {
  ASSERT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  Start();
  bidi_->StopBidiWorker();
  EXPECT_EQ(0u, CBidiIF::BidiWorkerProc(bidi_.get()));
  EXPECT_EQ(0u, far_side::live_objects().spls);
  // The routine's leave took away the apartment that the thread had.
  IUnknown* object = nullptr;
  EXPECT_EQ(CO_E_NOTINITIALIZED,
            CoCreateInstance(CLSID_BidiRequest, nullptr, CLSCTX_ALL, IID_IBidiRequest,
                             reinterpret_cast<void**>(&object)));
}

}  // namespace
}  // namespace vlp
