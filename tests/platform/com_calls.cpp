// Apartments, creation and task memory.

#include "tests/platform/bidi_fixture.h"

namespace {

using bidi_test::BidiTest;
using bidi_test::Event;
using bidi_test::Ref;
using bidi_test::TestThread;

HRESULT try_to_create() {
  Ref<IBidiRequest> request;
  return bidi_test::create(CLSID_BidiRequest, IID_IBidiRequest, request);
}

class ApartmentTest : public testing::Test {
 protected:
  void SetUp() override { far_side::reset(); }
};

TEST_F(ApartmentTest, NothingIsCreatedWhileNoApartmentLives) {
  EXPECT_EQ(CO_E_NOTINITIALIZED, try_to_create());
}

TEST_F(ApartmentTest, ThreadWithoutApartmentCountsAsMultithreadedWhileThatLives) {
  Event entered(FALSE);
  Event leave(FALSE);
  TestThread keeper([&] {
    EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    entered.set();
    leave.await();
    CoUninitialize();
  });
  entered.await();
  EXPECT_EQ(S_OK, try_to_create());
  leave.set();
  keeper.join();
  EXPECT_EQ(CO_E_NOTINITIALIZED, try_to_create());
}

TEST_F(ApartmentTest, ThreadLeavesItsApartmentWhenItHasLeftAsOftenAsItEntered) {
  TestThread([] {
    EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    EXPECT_EQ(S_FALSE, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    CoUninitialize();
    EXPECT_EQ(S_OK, try_to_create());
    CoUninitialize();
    EXPECT_EQ(CO_E_NOTINITIALIZED, try_to_create());
  });
}

TEST_F(ApartmentTest, ThreadCantChangeItsKindOfApartment) {
  TestThread([] {
    EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    EXPECT_EQ(RPC_E_CHANGED_MODE, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    EXPECT_EQ(S_FALSE, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    EXPECT_EQ(S_OK, try_to_create());
    CoUninitialize();
    CoUninitialize();
  });
  EXPECT_EQ(CO_E_NOTINITIALIZED, try_to_create());
}

TEST_F(ApartmentTest, SingleThreadedApartmentServesItsOwnThreadOnly) {
  Event entered(FALSE);
  Event leave(FALSE);
  TestThread keeper([&] {
    EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    entered.set();
    leave.await();
    CoUninitialize();
  });
  entered.await();
  EXPECT_EQ(CO_E_NOTINITIALIZED, try_to_create());
  leave.set();
}

TEST_F(BidiTest, UnknownClassIsNotRegistered) {
  const CLSID unknown{0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
  void* object = &object;
  EXPECT_EQ(REGDB_E_CLASSNOTREG,
            CoCreateInstance(unknown, nullptr, CLSCTX_ALL, IID_IUnknown, &object));
  EXPECT_EQ(nullptr, object);
}

TEST_F(BidiTest, UnknownInterfaceLeavesNoObject) {
  void* object = &object;
  EXPECT_EQ(E_NOINTERFACE,
            CoCreateInstance(CLSID_BidiSpl, nullptr, CLSCTX_ALL, IID_IBidiRequest, &object));
  EXPECT_EQ(nullptr, object);
  EXPECT_EQ(0U, far_side::live_objects().spls);
}

TEST_F(BidiTest, ClassesDontAggregate) {
  Ref<IBidiRequest> outer = bidi_test::make_request(id_schema);
  void* object = &object;
  EXPECT_EQ(CLASS_E_NOAGGREGATION,
            CoCreateInstance(CLSID_BidiRequest, outer.get(), CLSCTX_ALL, IID_IUnknown, &object));
  EXPECT_EQ(nullptr, object);
}

TEST_F(BidiTest, CreationCanBeMadeToFailByClass) {
  far_side::set_trouble({.create_spl = {.result = 0x80004005},
                         .create_request = {.result = 0x8007000E},
                         .create_container = {.result = 0x80004001}});
  Ref<IBidiSpl> spl;
  Ref<IBidiRequest> request;
  Ref<IBidiRequestContainer> container;
  EXPECT_EQ(E_FAIL, bidi_test::create(CLSID_BidiSpl, IID_IBidiSpl, spl));
  EXPECT_EQ(E_OUTOFMEMORY, bidi_test::create(CLSID_BidiRequest, IID_IBidiRequest, request));
  EXPECT_EQ(E_NOTIMPL,
            bidi_test::create(CLSID_BidiRequestContainer, IID_IBidiRequestContainer, container));
  EXPECT_FALSE(spl || request || container);
}

TEST(TaskMemory, EmptyBlockIsABlockAndNullMayBeFreed) {
  LPVOID block = CoTaskMemAlloc(0);
  EXPECT_NE(nullptr, block);
  CoTaskMemFree(block);
  CoTaskMemFree(nullptr);
}

}  // namespace
