// The image source: the simulated camera itself. It owns the record that the host reads, and while it grabs, a worker
// thread that hands the simulator's images to the host's callback, or faked ones when no simulator answers.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "HostTypes.h"
#include "ThreadStarter.h"
#include "mprocessevent.h"

namespace kest::dorven {

class IPMessenger;
class TeskImagesComm;

/// Thread-safe but for the record, which is shared with the host without a lock. The callback runs on the worker
/// thread, with no lock held, and may call any operation but end; it had better not destroy the source.
struct TeskImages {
    /// With the system's event "DorVenImagesEvent", which the simulator signals.
    TeskImages();

    /// With another event and another way to start the worker thread, for tests.
    explicit TeskImages(std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread = {});

    TeskImages(const TeskImages&) = delete;
    TeskImages& operator=(const TeskImages&) = delete;

    // Virtual operations in the order of their slots. Each leaves its name in the trace.

    /// Ends a worker thread that still runs, as end does; its owner had better call end. Destroyed by its own callback
    /// it leaves a thread behind that nobody can wait for.
    virtual ~TeskImages();

    /// The record of the latest image.
    virtual std::shared_ptr<NUV::IMAGEMEMORY> imageMemory();
    virtual NUV::SmartMetaDataCaps& imageMemoryCaps();
    /// {width, height} in pixels and lines; empty without a record.
    virtual std::vector<std::uint64_t> imageSize();
    /// {bytes per pixel}, not the pixel format; kept on purpose: docs/oddities.md, format-is-bytes
    virtual std::vector<std::int32_t> imageFormat();
    /// {x, y} in micrometres.
    virtual std::vector<double> pixelSize();
    /// Frames per second.
    virtual double frameRate();
    /// Stores any rate; one that is not above 0 is reported. The pace of a running grab stays as it is.
    virtual double setFrameRate(const double& f);

    /// Starts the worker thread, ending one that runs. False after an entry in the error log: always so after end, and
    /// to the callback while another thread's freeze waits for it.
    /// @throws std::system_error  when the system has no thread left; nothing runs then.
    virtual bool grab();

    /// Ends the worker thread: no callback runs after it returned, not even one that stopped its own grab or tried to
    /// grab anew meanwhile, except when the callback itself calls it: it is not called again for this grab then, also
    /// when another thread's freeze waits for it. False, after entries in the error log, when none ran or tried to.
    virtual bool freeze();

    // ---- not virtual

    /// Makes an image source configured by an ini file (openIniFile); without one it has its defaults.
    static std::shared_ptr<TeskImages> create(const char* path);

    /// The same but for the link to the simulator, whose names another source of this process may still hold: all that
    /// can fail without them is done.
    static std::shared_ptr<TeskImages> createUnlinked(const char* path);

    /// Makes the link to the simulator, which answers from now on; nothing when it is there. For the owner's thread.
    /// An event or a memory that the system refuses is no failure; the error trace tells what failed;
    /// kept on purpose: docs/oddities.md, dead-link-opens
    /// @throws std::runtime_error  when an event's handle is the invalid one, which no system answers with.
    /// @throws std::system_error   when the system has no thread left.
    void link();

    /// @param function  Called for each image; null for none. It is called with its own context always, also when both
    ///                  are replaced meanwhile.
    void setCallback(void* context, NUV::ImageCallback function);

    /// Whether a worker thread was started and not yet told to end.
    bool isRunning() const;

    /// Whether the calling thread is a worker thread of this source: then it is inside the callback.
    bool calledByCallback() const;

    /// For the owner, before it lets go: freezes a grab that runs, and waits for every callback. From here on grab is
    /// refused, and freeze finds nothing to report.
    void end();

protected:
    /// With another record and temperature, for tests. Either may be null, which is reported.
    TeskImages(std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread, std::shared_ptr<NUV::IMAGEMEMORY> record,
               std::shared_ptr<NUV::SmartMetaDataDouble> temperature);

    /// With the system's event, or as the above, and without the link.
    struct Unlinked {};
    explicit TeskImages(Unlinked);
    TeskImages(Unlinked, std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread,
               std::shared_ptr<NUV::IMAGEMEMORY> record, std::shared_ptr<NUV::SmartMetaDataDouble> temperature);

    std::shared_ptr<NUV::IMAGEMEMORY> _imageMemory;
    std::shared_ptr<NUV::SmartMetaDataDouble> _smartTemperature;

private:
    struct Run;
    struct Worker {
        std::shared_ptr<std::thread> thread;
        std::shared_ptr<Run> run;
    };

    void initImageMemory();
    void refuseGrabs();
    void freezeToGrabAnew();
    bool startImageThread();
    bool stopImageThread();
    bool leaveEndingRun();
    bool isWorkerThread() const;
    bool refusesGrabOfCallback();
    unsigned refusedGrabs() const;
    std::shared_ptr<Run> tellThreadToEnd();
    void wakeUntilEnded(Run& run);
    void joinLeavingThreads();

    // On the worker thread, TeskImagesThread.cpp. After a callback they touch nothing of this object but when the run
    // was not left: the callback may have ended it, and this object with it.
    void imageThread(Run& run);
    void prepareRun(Run& run);
    int waitForImages(Run& run);
    void rest(Run& run);
    void sizeFakeImage(const Run& run, std::size_t size);
    void waiting(Run& run, bool signalled);
    void grabbing(Run& run, bool signalled);
    void faking(Run& run, bool signalled);
    void missSignal(Run& run);
    void readImages(Run& run);
    void fakeImage(Run& run);
    void handOver(NUV::IMAGEMEMORY& record);

    NUV::SmartMetaDataCaps _imageMemoryCaps;  // stays empty
    double _pixelSize[2];
    std::atomic<double> _frameRate;
    std::shared_ptr<TeskImagesComm> _comm;    // answers the simulator from this object …
    std::shared_ptr<IPMessenger> _messenger;  // … on a thread of its own, from link to the destructor
    std::shared_ptr<MEvent> _imageEvent;

    std::mutex _callbackMutex;  // held for a copy of the pair alone
    NUV::PluginInterfaceCallbackData _callback;

    ThreadStarter _startThread;
    mutable std::mutex _threadMutex;       // guards all below; never held while a thread is waited for
    std::shared_ptr<std::thread> _thread;  // null: not running
    std::shared_ptr<Run> _run;             // of _thread, or of the grab before
    std::vector<Worker> _leaving;          // told to end, maybe still inside their callback
    bool _ended = false;                   // no thread is started any more
    std::thread::id _grabsAnew;            // whose freeze is part of its grab, so that others may grab as well
    int _waitingStops = 0;                 // of threads that are no callback: until the last is done no callback grabs
    unsigned _refusedGrabs = 0;            // to callbacks, by those

protected:
    std::vector<unsigned char> _fakeImageMem;   // the worker thread's
    std::function<void(double seconds)> _rest;  // for tests: in place of the time that a failed wait takes
};

}  // namespace kest::dorven
