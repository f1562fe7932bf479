#include "gstreamer_pace.h"

#include <cstdio>
#include <cstdlib>

#include <gst/gst.h>

#include "bench_support.h"

namespace bench {
namespace {

struct Watch {
    PaceRecord record;
    GMainLoop* loop;
    bool over;
};

// Called in the source's thread. The source skips no number, so the images' numbers are their count.
void noteImage(GstElement*, GstBuffer* image, GstPad*, gpointer data) {
    Watch& watch = *static_cast<Watch*>(data);
    if (watch.over || watch.record.note(GST_BUFFER_OFFSET(image), now())) return;
    watch.over = true;
    g_main_loop_quit(watch.loop);
}

gboolean takeMessage(GstBus*, GstMessage* message, gpointer) {
    if (GST_MESSAGE_TYPE(message) != GST_MESSAGE_ERROR) return TRUE;
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    std::fprintf(stderr, "bench: GStreamer: %s\n", error->message);
    std::exit(1);
}

GstElement* makePipeline(const std::string& pattern, int framesPerSecond) {
    const std::string description =
        "videotestsrc is-live=true pattern=" + pattern +
        " ! video/x-raw,format=GRAY8,width=1280,height=1024,framerate=" + std::to_string(framesPerSecond) +
        "/1 ! fakesink name=sink sync=false signal-handoffs=true";
    GError* error = nullptr;
    GstElement* const pipeline = gst_parse_launch(description.c_str(), &error);
    if (error) {
        std::fprintf(stderr, "bench: GStreamer: %s\n", error->message);
        std::exit(1);
    }
    return pipeline;
}

}  // namespace

Pace paceOfTestSource(const std::string& pattern, int framesPerSecond, double seconds) {
    gst_init(nullptr, nullptr);
    Watch watch{{static_cast<double>(framesPerSecond), seconds, CLOCK_PROCESS_CPUTIME_ID},
                g_main_loop_new(nullptr, FALSE),
                false};
    GstElement* const pipeline = makePipeline(pattern, framesPerSecond);
    GstElement* const sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
    g_signal_connect(sink, "handoff", G_CALLBACK(noteImage), &watch);
    GstBus* const bus = gst_element_get_bus(pipeline);
    gst_bus_add_watch(bus, takeMessage, nullptr);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    g_main_loop_run(watch.loop);
    gst_element_set_state(pipeline, GST_STATE_NULL);  // ends the source's thread
    gst_object_unref(bus);
    gst_object_unref(sink);
    gst_object_unref(pipeline);
    g_main_loop_unref(watch.loop);
    return watch.record.pace();
}

}  // namespace bench
