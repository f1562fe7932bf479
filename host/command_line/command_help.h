// What the help of each command says behind its options: notes, and examples that can be pasted.
#pragma once

namespace host {

constexpr const char* kInfoHelp =
    "--commands really sends each command twice to a fresh device: before it is opened, and opened with its defaults.\n"
    "A setting is given the value that the device says it has, or zero; images are grabbed for a moment. Motor and\n"
    "I/O port commands are not sent to a device that offers such a kind. At the end the device is opened anew and\n"
    "released. What it refuses it also tells its error log (environment variable DORVEN_LOG_FILE).\n"
    "\n"
    "Examples:\n"
    "  dorven-host info\n"
    "  dorven-host info --json\n"
    "  dorven-host info --commands\n";

constexpr const char* kGrabHelp =
    "Examples:\n"
    "  dorven-host grab --count 300\n"
    "  dorven-host grab --count 300 --output images --every 100\n"
    "  dorven-host grab --output - | ffplay -\n"
    "  dorven-host grab --count 1000 --max-lost 0 --max-torn 0 --max-jitter-us 500 --min-fps 99\n"
    "  dorven-host grab --config camera.ini --count 1000 --timeout 5 --json\n";

constexpr const char* kVerifyHelp =
    "The simulator writes the log with --fault-log. Each fault in it names what a host must find; each finding of the\n"
    "grab must have been injected. What the host could not see does not count: frames before the first and behind the\n"
    "last one that came since the grab began, and images that waited in the ring from before. A stop (crash, hang) is\n"
    "found when no image came for --timeout, or the camera began to fake images. Lateness that was not injected\n"
    "counts with --max-latency-us alone.\n"
    "\n"
    "Examples:\n"
    "  dorven-host verify --fault-log faults.jsonl --count 1000\n"
    "  dorven-host verify --fault-log faults.jsonl --config camera.ini --count 1000 --json\n"
    "  dorven-host verify --fault-log faults.jsonl --findings grab.json\n";

constexpr const char* kSnapHelp =
    "OUT's ending says the format: .png, .pgm (8 and 16 bit grey) or .raw (the pixels as they are in memory).\n"
    "- writes to standard output in the format of --format. Without --any the first image is saved that a simulator\n"
    "completed after snap began and that arrived whole; with it the\n"
    "first image of any kind, also one that waited in the ring, a faked one (they come after 22 s without a "
    "simulator)\n"
    "or one without a strip, as simulators with pictures of their own may send. Nothing is replaced without --force.\n"
    "\n"
    "Examples:\n"
    "  dorven-host snap picture.png\n"
    "  dorven-host snap - >picture.png\n"
    "  dorven-host snap picture.pgm --config camera.ini --timeout 5\n"
    "  dorven-host snap picture.raw --any --force --json\n";

constexpr const char* kDoctorHelp =
    "doctor disturbs nobody: it loads the plugin's library without making a camera of it, reads files, and looks at\n"
    "named objects from outside: it attaches to no ring, takes no event and removes no leftover. (On Windows it holds\n"
    "each object for the moment of the look.) Each finding is ok, a warning (works, but perhaps not as meant) or a\n"
    "problem; with a problem the exit code is 1.\n"
    "\n"
    "Examples:\n"
    "  dorven-host doctor\n"
    "  dorven-host doctor --config camera.ini\n"
    "  dorven-host doctor --json\n";

constexpr const char* kBenchHelp =
    "bench starts dorven-simulator beside itself and loads the plugin as a host does; the callback only notes times.\n"
    "Beside each number stands the bare limit of this machine, measured in the same run, and the ratio to it. "
    "Lateness\n"
    "is that of the simulator's time stamps against an even grid. On Linux the run has object names of its own; on\n"
    "Windows it fails while a simulator or a camera has the names.\n"
    "\n"
    "Examples:\n"
    "  dorven-host bench\n"
    "  dorven-host bench --size 640x480 --bytes-per-pixel 2 --fps 500\n"
    "  dorven-host bench --fps 100 --fps 2000 --seconds 10 --json\n";

constexpr const char* kCallHelp =
    "VALUE is the command's parameter: a number (also nan and inf for a double), true or false, or the numbers of a\n"
    "structure in the order of its fields with commas between them. Commands that take a text take any, and none for\n"
    "a null text. 1005 takes host (a function that lets images pass) or null, 1114 and 1115 take null. Before a VALUE\n"
    "such as -inf that looks like an option, write --.\n"
    "\n"
    "Units: frame rate (1106, 1107) images/s; clipping (1007, 1008, 1014) pixels and lines; pixel size (1013)\n"
    "micrometres; image memory (1011) frame_time s and time_stamp us.\n"
    "\n"
    "Examples:\n"
    "  dorven-host call 1107\n"
    "  dorven-host call 1106 50 --open\n"
    "  dorven-host call 1008 --config camera.ini --json\n";

constexpr const char* kAskSnapHelp =
    "The simulator of this house takes no pictures: it reports \"SNAP\" and that snapping is not implemented in its "
    "logs\n"
    "and sends the request back as it was, which looks like success. The plugin is not loaded; while a host has the\n"
    "camera open, ask-snap fails, since the camera's end of the link is taken.\n"
    "\n"
    "Examples:\n"
    "  dorven-host ask-snap\n"
    "  dorven-host ask-snap --json\n"
    "  dorven-host ask-snap --timeout 2\n";

// Of the program itself.
constexpr const char* kHelp =
    "Examples:\n"
    "  dorven-host info\n"
    "  dorven-host grab --count 300\n"
    "  dorven-host snap picture.png\n"
    "  dorven-host verify --fault-log faults.jsonl --count 1000\n"
    "  dorven-host doctor --config camera.ini\n"
    "  dorven-host config --show\n";

constexpr const char* kExitCodes =
    "\n"
    "Exit codes: 0 done, 1 failed or a limit broken, 2 wrong usage, 3 no image or answer in time, 4 connection lost.";

}  // namespace host
