// Hand-over of images from a writing to a reading process: ours, into the host's callback, compared with GStreamer's
// pair shmsink and shmsrc, which also share memory and signal over a socket, in turns within one run. Neither copies
// any byte of an image. Built where GStreamer is installed (Debian: libgstreamer1.0-dev gstreamer1.0-plugins-bad).
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gst/gst.h>
#include <unistd.h>

#include "bench_support.h"
#include "image_roads.h"
#include "percentile.h"

namespace {

using namespace std::chrono_literals;

constexpr int kTurns = 9;
constexpr bench::Load kLoad{1'000, 1'000'000, false};

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: GStreamer: %s\n", what);
    std::exit(1);
}

std::string socketPath(const std::string& object) { return "/dev/shm/" + object + ".socket"; }

GstElement* makePipeline(const std::string& description) {
    gst_init(nullptr, nullptr);
    GError* error = nullptr;
    GstElement* const pipeline = gst_parse_launch(description.c_str(), &error);
    if (error) fail(error->message);
    return pipeline;
}

/// Pushes directly into the sink from the caller's thread, into the sink's own memory: no queue, no copy.
class GStreamerWriter : public bench::ImageWriter {
public:
    explicit GStreamerWriter(const std::string& object)
        : _pipeline(makePipeline("shmsink name=sink sync=false async=false wait-for-connection=true shm-size=" +
                                 std::to_string((bench::kLines + 1) * bench::kLineBytes) +
                                 " socket-path=" + socketPath(object))),
          _pad(gst_pad_new("src", GST_PAD_SRC)) {
        GstElement* const sink = GST_IS_BIN(_pipeline) ? gst_bin_get_by_name(GST_BIN(_pipeline), "sink")
                                                       : GST_ELEMENT(gst_object_ref(_pipeline));
        GstPad* const sinkPad = gst_element_get_static_pad(sink, "sink");
        if (gst_element_set_state(_pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) fail("no shmsink");
        if (gst_pad_link(_pad, sinkPad) != GST_PAD_LINK_OK) fail("cannot link to shmsink");
        begin(sinkPad);
        gst_object_unref(sinkPad);
        gst_object_unref(sink);
    }
    ~GStreamerWriter() override {
        gst_element_set_state(_pipeline, GST_STATE_NULL);
        if (_allocator) gst_object_unref(_allocator);
        gst_object_unref(_pad);
        gst_object_unref(_pipeline);
    }
    unsigned char* slot() override {
        if (!_image) {
            _image = gst_buffer_new_allocate(_allocator, bench::kLineBytes, nullptr);
            if (!_image || !gst_buffer_map(_image, &_map, GST_MAP_WRITE)) fail("no memory for an image");
        }
        return _map.data;
    }
    void publish() override {
        gst_buffer_unmap(_image, &_map);
        if (gst_pad_push(_pad, std::exchange(_image, nullptr)) != GST_FLOW_OK) fail("shmsink took no image");
    }
    /// At the end of the stream, the sink returns when the reader has returned everything.
    bool isDrained() override {
        gst_pad_push_event(_pad, gst_event_new_eos());
        return true;
    }

private:
    void begin(GstPad* sinkPad) {
        gst_pad_set_active(_pad, TRUE);
        gst_pad_push_event(_pad, gst_event_new_stream_start("images"));
        GstCaps* const caps = gst_caps_new_empty_simple("application/x-image-line");
        gst_pad_push_event(_pad, gst_event_new_caps(caps));
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        gst_pad_push_event(_pad, gst_event_new_segment(&segment));
        GstQuery* const query = gst_query_new_allocation(caps, FALSE);
        if (gst_pad_query(sinkPad, query) && gst_query_get_n_allocation_params(query) > 0)
            gst_query_parse_nth_allocation_param(query, 0, &_allocator, nullptr);
        if (!_allocator) fail("shmsink lends no memory");
        gst_query_unref(query);
        gst_caps_unref(caps);
    }

    GstElement* _pipeline;
    GstPad* _pad;
    GstAllocator* _allocator = nullptr;
    GstBuffer* _image = nullptr;
    GstMapInfo _map{};
};

/// Returns each image at once, because a sink that keeps the last one would block the writer for ever.
class GStreamerReader : public bench::ImageReader {
public:
    GStreamerReader(const std::string& object, bench::ImageSink sink)
        : _sink(std::move(sink)),
          _pipeline(makePipeline("shmsrc is-live=true socket-path=" + socketPath(object) +
                                 " ! fakesink name=sink sync=false async=false signal-handoffs=true "
                                 "enable-last-sample=false")) {
        GstElement* const end = gst_bin_get_by_name(GST_BIN(_pipeline), "sink");
        g_signal_connect(end, "handoff", G_CALLBACK(take), this);
        gst_object_unref(end);
        _starter = std::thread([this, socket = socketPath(object)] { start(socket); });
    }
    ~GStreamerReader() override {
        _stopped = true;
        _starter.join();
        gst_element_set_state(_pipeline, GST_STATE_NULL);
        gst_object_unref(_pipeline);
    }

private:
    // The source finds the socket only when the writer, which starts later, listens on it.
    void start(const std::string& socket) {
        while (!_stopped) {
            if (access(socket.c_str(), F_OK) == 0 &&
                gst_element_set_state(_pipeline, GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE)
                return;
            gst_element_set_state(_pipeline, GST_STATE_NULL);
            std::this_thread::sleep_for(1ms);
        }
    }
    static void take(GstElement*, GstBuffer* image, GstPad*, gpointer self) {
        GstMapInfo map{};
        if (!gst_buffer_map(image, &map, GST_MAP_READ) || map.size < bench::kLineHeaderBytes) fail("no whole image");
        std::uint64_t counter = 0;
        std::memcpy(&counter, map.data, sizeof counter);
        static_cast<GStreamerReader*>(self)->_sink(counter, bench::stampOf(map.data));
        gst_buffer_unmap(image, &map);
    }

    bench::ImageSink _sink;
    GstElement* _pipeline;
    std::atomic<bool> _stopped{false};
    std::thread _starter;
};

const bench::Road kGStreamer{
    "gstreamer",
    [](const std::string& object) -> std::unique_ptr<bench::ImageWriter> {
        return std::make_unique<GStreamerWriter>(object);
    },
    [](const std::string& object, bench::ImageSink sink) -> std::unique_ptr<bench::ImageReader> {
        return std::make_unique<GStreamerReader>(object, std::move(sink));
    }};

// Figures of each turn.
struct Figures {
    std::vector<double> p50, p99, cpu;

    void note(bench::Carried carried) {
        p50.push_back(bench::median(carried.latenciesUs));
        p99.push_back(frames::percentile(carried.latenciesUs, 0.99).value_or(0.0));
        cpu.push_back(carried.cpuUsPerImage);
    }
};

bool compare(const std::string& title, int processor) {
    bench::placeOn(processor);
    Figures ours;
    Figures peer;
    for (int i = 0; i < kTurns; ++i) {
        ours.note(bench::carryImages(bench::kOurs, kLoad));
        peer.note(bench::carryImages(kGStreamer, kLoad));
    }
    auto result = [](const char* name, std::vector<double>& one, std::vector<double>& other) {
        return bench::Result{name, "us", bench::median(one), bench::median(other), 1.0};
    };
    return bench::report(title,
                         {result("from writer to callback, p50", ours.p50, peer.p50),
                          result("from writer to callback, p99", ours.p99, peer.p99),
                          result("processor time per image, both processes", ours.cpu, peer.cpu)},
                         "shmsink/src");
}

}  // namespace

int main(int argc, char** argv) {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench", 0);
    if (const int exitCode = bench::writeImages({bench::kOurs, kGStreamer}, argc, argv); exitCode >= 0) return exitCode;
    const std::string title = "Image hand-over 1280 x 1024 beside GStreamer, medians of turns, ";
    const bool onOne = compare(title + "both on one processor", 0);
    return compare(title + "placed freely", -1) && onOne ? 0 : 1;
}
