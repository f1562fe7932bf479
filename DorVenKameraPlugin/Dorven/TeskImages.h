// The image source: the simulated camera itself. It owns the record that the host reads. While it grabs, a worker
// thread passes the simulator's images to the host's callback, or faked images when no simulator answers.
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

/// Thread-safe except for the record, which is shared with the host without a lock. The callback runs on the worker
/// thread with no lock held. It may call any operation except end, and should not destroy the source.
struct TeskImages {
    /// Uses the system's event that the simulator signals (object_names.h).
    TeskImages();

    /// Uses another event and another way to start the worker thread, for tests.
    explicit TeskImages(std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread = {});

    TeskImages(const TeskImages&) = delete;
    TeskImages& operator=(const TeskImages&) = delete;

    // Virtual operations in the order of their slots. Each writes its name to the trace.

    /// Ends a worker thread that still runs, like end; the owner should have called end before. If its own callback
    /// destroys it, a thread remains that nobody can wait for.
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
    /// Stores any rate; a rate that is not above 0 is reported. The pace of a running grab does not change.
    virtual double setFrameRate(const double& f);

    /// Starts the worker thread and ends a running one first. False after an entry in the error log: always after end,
    /// and for the callback while another thread's freeze waits for it.
    /// @throws std::system_error  when the system has no thread left; nothing runs then.
    virtual bool grab();

    /// Ends the worker thread. No callback runs after it returned, not even one that stopped its own grab or tried to
    /// grab again meanwhile. The callback may call it too: it is then not called again for this grab, even if another
    /// thread's freeze waits for it. False, after entries in the error log, when no thread ran or tried to.
    virtual bool freeze();

    // ---- not virtual

    /// Creates an image source configured by an ini file (openIniFile); without a file it has its defaults.
    static std::shared_ptr<TeskImages> create(const char* path);

    /// The same without the link to the simulator, whose names another source of this process may still hold. Does
    /// everything else that can fail.
    static std::shared_ptr<TeskImages> createUnlinked(const char* path);

    /// Creates the link to the simulator, which answers from now on; does nothing when it exists. Only for the owner's
    /// thread. If the system refuses an event or a memory, that is no failure; the error trace says what failed;
    /// kept on purpose: docs/oddities.md, dead-link-opens
    /// @throws std::runtime_error  when an event's handle is the invalid one, which no system returns.
    /// @throws std::system_error   when the system has no thread left.
    void link();

    /// @param function  Called for each image; null: no callback. It always gets its own context, even if both are
    ///                  replaced meanwhile.
    void setCallback(void* context, NUV::ImageCallback function);

    /// Whether a worker thread was started and has not been told to end.
    bool isRunning() const;

    /// Whether the calling thread is a worker thread of this source, and thus inside the callback.
    bool calledByCallback() const;

    /// For the owner, before it releases the source: freezes a running grab and waits for every callback. From then on
    /// grab is refused, and freeze reports nothing.
    void end();

protected:
    /// With another record and temperature, for tests. Either may be null, which is reported.
    TeskImages(std::shared_ptr<MEvent> imageEvent, ThreadStarter startThread, std::shared_ptr<NUV::IMAGEMEMORY> record,
               std::shared_ptr<NUV::SmartMetaDataDouble> temperature);

    /// Marks the constructors that create no link.
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

    // On the worker thread, TeskImagesThread.cpp. After a callback they use this object only if the callback has not
    // left the run: it may have ended the run, and this object with it.
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
    std::shared_ptr<IPMessenger> _messenger;  // … on a separate thread, from link to the destructor
    std::shared_ptr<MEvent> _imageEvent;

    std::mutex _callbackMutex;  // held only for a copy of the pair
    NUV::PluginInterfaceCallbackData _callback;

    ThreadStarter _startThread;
    mutable std::mutex _threadMutex;       // guards everything below; never held while waiting for a thread
    std::shared_ptr<std::thread> _thread;  // null: not running
    std::shared_ptr<Run> _run;             // of _thread, or of the previous grab
    std::vector<Worker> _leaving;          // told to end, may still be inside their callback
    bool _ended = false;                   // no thread is started any more
    std::thread::id _grabsAnew;            // thread whose freeze is part of its own grab; others may grab
    int _waitingStops = 0;                 // number of waiting threads outside callbacks; 0: callbacks may grab
    unsigned _refusedGrabs = 0;            // grabs refused to callbacks because of them

protected:
    std::vector<unsigned char> _fakeImageMem;   // used by the worker thread
    std::function<void(double seconds)> _rest;  // for tests: replaces the time that a failed wait takes
};

}  // namespace kest::dorven
