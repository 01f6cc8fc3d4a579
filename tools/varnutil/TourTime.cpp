// TourTime.cpp — the tour's sections on dates, UUIDs, identifiers, events and threads.
#include "Errors.h"
#include "Tour.h"

#include <VarnUtilityLib/VarnUtilityLib.h>

#include <atomic>
#include <string>

namespace varnutil {
namespace {

std::string text(CUSharedPtr<CUStringMac> const& s) {
    return QuotedTextOf(s, "(null)");
}

void dates(std::ostream& out) {
    CUDateTime origin(0.0);
    Show(out, "CUDateTime(0.0) in GMT", text(origin.GetString(false, 3, 3)).c_str());
    CUDateTime date(2024, 1, 31, 23, 0, 0);
    Show(out, "2024-01-31 23:00 local, Description()", text(date.Description()).c_str());
    CUSharedPtr<CUDateTime> later = date.AddHours(2);
    Show(out, "AddHours(2)", text(later->Description()).c_str());
    for (long style = 1; style <= 4; ++style) {
        std::string label =
            "GetString(local, " + std::to_string(style) + ", " + std::to_string(style) + ")";
        Show(out, label.c_str(), text(date.GetString(true, style, style)).c_str());
    }
    _DateTimeInfo info{2024, 6, 1, 12, 0, 0, 3600, 1};
    CUDateTime fromInfo(info);
    Show(out, "12:00 at GMT+1 with daylight saving, in GMT",
         text(fromInfo.GetTimeString(false)).c_str());
    CUDateTime self(5.0);
    CUDateTime& alias = self;
    self = alias; // the own date goes first: a self-assigned date is null
    Show(out, "a self-assigned date's Description()", text(self.Description()).c_str());
}

void uuids(std::ostream& out) {
    CUSharedPtr<CUUUID> random = CUUUID::Create();
    Show(out, "CUUUID::Create()", text(random->Description()).c_str());
    CUSharedPtr<CUUUID> words = CUUUID::Create(1, 2, 3, 4);
    Show(out, "Create(1, 2, 3, 4)", text(words->Description()).c_str());
    unsigned char serial[5] = {0xCA, 0xFE, 0xF0, 0x0D, 0x01};
    random->CorrectSerialArea(serial);
    Show(out, "with serial CA FE F0 0D 01", text(random->Description()).c_str());
    Show(out, "IsNotFillSerialArea() of CreateNull()",
         CUUUID::CreateNull()->IsNotFillSerialArea() ? "true" : "false");
    CUSharedPtr<CUIdentifierGenerator> ids = CUIdentifierGenerator::SharedInstance();
    std::string some;
    for (int i = 0; i < 3; ++i) {
        some += std::to_string(ids->GenerateIdentifier()) + " ";
    }
    Show(out, "GenerateIdentifier() x3", some.c_str());
}

class Worker : public CUThread {
  public:
    ~Worker() override { Join(); }
    void* ThreadFunc() override {
        static_cast<CUEventWaitHandle*>(GetData())->WaitOne();
        done.store(true);
        return nullptr;
    }
    std::atomic<bool> done{false};
};

void threads(std::ostream& out) {
    Show(out, "CUEnvironment::ProcessorCount()",
         std::to_string(CUEnvironment::ProcessorCount()).c_str());
    CUSharedPtr<CUColor> gray = CUColor::DarkGray();
    Show(out, "CUColor::DarkGray() (A, R, G, B)",
         (std::to_string(gray->A()) + ", " + std::to_string(gray->R()) + ", " +
          std::to_string(gray->G()) + ", " + std::to_string(gray->B()))
             .c_str());

    CUManualResetEvent event(false);
    Worker worker;
    CUPerformanceCounter counter;
    counter.StartCounter();
    worker.Start(&event);
    CUSleep(10);
    Show(out, "worker waiting on a clear event, done", worker.done.load() ? "true" : "false");
    event.Set();
    worker.Join();
    counter.EndCounter();
    Show(out, "after Set() and Join(), done", worker.done.load() ? "true" : "false");
    Show(out, "CUPerformanceCounter", text(counter.Description()).c_str());

    CUSynchronizedQueue queue;
    for (char const* word : {"first", "second", "third"}) {
        queue.Enqueue(CUSharedPtr<CUStringMac>(new CUStringMac(word, CUString_CharCode_UTF8)));
    }
    std::string order;
    while (CUSharedPtr<CUStringMac> next = queue.Dequeue()) {
        order += text(next) + " ";
    }
    Show(out, "CUSynchronizedQueue drained", order.c_str());
    Show(out, "Dequeue() on the empty queue", queue.Dequeue() ? "an object" : "null, at once");
}

TourSection datesSection(70, "Dates and times", dates);
TourSection uuidSection(75, "UUIDs and identifiers", uuids);
TourSection threadsSection(80, "Environment, events, threads, queue and stopwatch", threads);

} // namespace
} // namespace varnutil
