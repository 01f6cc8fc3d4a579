// Every public operation of dates, UUIDs, identifiers, colours, the environment, events, threads,
// the queue and the performance counter, through the shared library.
#include <VarnUtilityLib/VarnUtilityLib.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace {
class ApiThread : public CUThread {
  public:
    ~ApiThread() override { Join(); }
    void* ThreadFunc() override { return GetData(); }
};
} // namespace

TEST(ApiSurface, DatesUUIDsThreadsAndSmallServicesAreExported) {
    static_assert(std::is_base_of_v<CUObject, CUDateTime>);
    static_assert(sizeof(CFGregorianDate::month) == 1 && sizeof(CFGregorianDate::year) == 4);
    static_assert(CUEventWaitHandle_EventResetMode_AutoReset == 0 &&
                  CUEventWaitHandle_EventResetMode_ManualReset == 1);
    static_assert(std::is_base_of_v<CUWaitHandle, CUEventWaitHandle>);
    static_assert(std::is_base_of_v<CUEventWaitHandle, CUAutoResetEvent>);
    static_assert(std::is_base_of_v<CUEventWaitHandle, CUManualResetEvent>);
    static_assert(std::is_base_of_v<CUWaitHandle, CUThread>);

    _DateTimeInfo info{2024, 1, 2, 3, 4, 5, 0, 0};
    CUDateTime now;
    CUDateTime fields(2024, 1, 2, 3, 4, 5);
    CUDateTime fromInfo(info);
    CUDateTime absolute(0.0);
    CUDateTime copy(absolute);
    copy = fields;
    EXPECT_TRUE(CUDateTime::Create() && CUDateTime::Create(2024, 1, 2, 3, 4, 5) &&
                CUDateTime::Create(info) && now.AddSeconds(1) && now.AddMinutes(1) &&
                now.AddHours(1) && now.AddDays(1));
    EXPECT_EQ(2001, absolute.GregorianDate(false).year);
    EXPECT_EQ(2024 + 1 + 2 + 3 + 4 + 5, fields.GetYear(true) + fields.GetMonth(true) +
                                            fields.GetDay(true) + fields.GetHour(true) +
                                            fields.GetMinute(true) + fields.GetSecond(true));
    EXPECT_TRUE(fields.GetString(true, 1, 1) && fields.GetString(true) &&
                fields.GetDateString(true) && fields.GetTimeString(false) && fields.Description());
    EXPECT_TRUE(fields == fromInfo && absolute < fields && copy == fields && absolute.HasDate());
    EXPECT_DOUBLE_EQ(0.0, absolute.GetAbsoluteTime());

    CFUUIDBytes record{};
    record.byte0 = 1;
    __CFUUID const* handle = CUPlatformUUIDCreateWithBytes(record);
    __CFUUID const* random = CUPlatformUUIDCreate();
    ASSERT_TRUE(handle && random);
    EXPECT_EQ(handle, CUPlatformUUIDRetain(handle));
    CUPlatformRelease(handle);
    EXPECT_EQ(1, CUPlatformUUIDGetBytes(handle).byte0);
    unsigned char bytes[16] = {};
    CUUUID a;
    CUUUID b(bytes);
    CUUUID c(record);
    CUUUID d(handle);
    CUUUID e(d);
    EXPECT_TRUE(CUUUID::Create() && CUUUID::Create(bytes) && CUUUID::Create(record) &&
                CUUUID::Create(handle) && CUUUID::Create(e) && CUUUID::Create(1u, 2u, 3u, 4u) &&
                CUUUID::CreateNull() && a.Description());
    __CFUUID const* held = d;
    CFUUIDBytes asRecord = d;
    EXPECT_TRUE(d == e && d == held && d == asRecord);
    b = c;
    b.GetBytes(bytes);
    EXPECT_TRUE(bytes[0] == 1 && b.GetUUIDRef());
    b.SetUUIDRef(random);
    b.SetUUIDBytes(record);
    EXPECT_TRUE(b.GetUUIDBytes().byte0 == 1 && b.IsNotFillSerialArea());
    unsigned char serial[5] = {1, 2, 3, 4, 5};
    b.CorrectSerialArea(serial);
    CUPlatformRelease(handle);
    CUPlatformRelease(random);

    CUSharedPtr<CUIdentifierGenerator> generator = CUIdentifierGenerator::SharedInstance();
    unsigned long long first = generator->GenerateIdentifier();
    EXPECT_EQ(first + 1, generator->GenerateIdentifier());
    CUColor color;
    EXPECT_TRUE(color.Init(1, 2, 3, 4) && color.A() == 1 && color.B() == 4);
    EXPECT_TRUE(CUColor::Create(1, 2, 3, 4) && CUColor::Create(1, 2, 3) && CUColor::Red() &&
                CUColor::Black() && CUColor::Gray() && CUColor::DarkGray() &&
                CUColor::LightGray() && CUColor::White());
    EXPECT_GE(CUEnvironment::ProcessorCount(), 1);
    EXPECT_EQ(0, CUSleep(0));

    CUEventWaitHandle event(true, CUEventWaitHandle_EventResetMode_ManualReset);
    CUAutoResetEvent automatic(true);
    CUManualResetEvent manual(false);
    EXPECT_TRUE(event.WaitOne() && event.Reset() && event.Set() && automatic.WaitOne() &&
                manual.Set() && manual.WaitOne());
    ApiThread thread;
    EXPECT_EQ(0, thread.Start(&thread));
    EXPECT_EQ(&thread, thread.GetData());
    thread.Join();
    EXPECT_TRUE(thread.WaitOne());
    EXPECT_EQ(nullptr, CUThread::ThreadFunc_static(nullptr));
    EXPECT_EQ(nullptr, CUThread::ThreadFunc_static_Common(nullptr));
    CUPerformanceCounter counter;
    EXPECT_GT(counter.StartCounter() + counter.EndCounter(), 0ull);
    counter.GetProcessingTime();
    EXPECT_TRUE(counter.Description());
    CUSynchronizedQueue queue;
    queue.Enqueue(CUSharedPtr<CUObject>(new CUObject));
    EXPECT_TRUE(queue.Dequeue() && !queue.Dequeue());
    queue.Clear();
}
