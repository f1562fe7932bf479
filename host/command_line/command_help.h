// What the help of each command says behind its options: notes, and examples that can be pasted. Paragraphs are wrapped
// when they are shown; lines that begin with a blank are not, and have 80 columns at most.
#pragma once

namespace host {

constexpr const char* kInfoHelp =
    "--commands sends each command twice to a fresh device: before it is opened, and after it was opened with its "
    "defaults. A setting gets the value that the device reports, or zero; images are grabbed for a moment. Motor and "
    "I/O port commands are not sent to a device that offers such a kind. What the device refuses also goes to its "
    "error log (--log FILE, or -v).\n"
    "\n"
    "Examples:\n"
    "  dorven-host info\n"
    "  dorven-host info --json\n"
    "  dorven-host info --commands\n";

constexpr const char* kGrabHelp =
    "Examples:\n"
    "  dorven-host grab -n 300\n"
    "  dorven-host grab -n 300 -o images --every 100\n"
    "  dorven-host grab -o - | ffplay -\n"
    "  dorven-host grab --duration 10s --max-lost 0 --max-torn 0 --min-fps 99\n"
    "  dorven-host grab -c camera.ini -n 1000 --timeout 5 --json\n";

constexpr const char* kVerifyHelp =
    "The simulator writes the log with --fault-log. verify compares both ways: the host must find every fault of the "
    "log, and everything that it finds must have been injected. Frames that the host could not see do not count: "
    "those before the first and after the last frame that arrived, and images that waited in the ring from before. A "
    "stop (crash, hang) is found when no image arrived for --timeout, or when the camera began to fake images. "
    "Lateness that was not injected counts only with --max-latency-us.\n"
    "\n"
    "Examples:\n"
    "  dorven-host verify --fault-log faults.jsonl -n 1000\n"
    "  dorven-host verify --fault-log faults.jsonl -c camera.ini -n 1000 --json\n"
    "  dorven-host verify --fault-log faults.jsonl --findings grab.json\n"
    "  dorven-host verify --findings-template >findings.json\n";

constexpr const char* kSnapHelp =
    "The ending of OUT sets the format: .png, .pgm (8 and 16 bit grey) or .raw (the pixels as they are in memory). "
    "- writes to standard output in the format of --format. Without --any, snap saves the first image that a simulator "
    "completed after the start and that arrived whole. "
    "With --any it saves the first image of any kind: one that waited in the ring, a faked one (22 s after the start "
    "without a simulator) or one without a strip. A file that exists is not replaced without --force.\n"
    "\n"
    "Examples:\n"
    "  dorven-host snap picture.png\n"
    "  dorven-host snap - >picture.png\n"
    "  dorven-host snap picture.pgm -c camera.ini --timeout 5\n"
    "  dorven-host snap picture.raw --any --force --json\n";

constexpr const char* kDoctorHelp =
    "doctor disturbs no other program: it loads the plugin's library without making a camera, reads files, and looks "
    "at named objects from outside. It attaches to no ring, takes no event and removes no leftover. (On Windows it "
    "holds each object for a moment.) Each finding is ok, a warning (a grab works, but perhaps not as you intended) "
    "or a problem; with a problem the exit code is 1.\n"
    "\n"
    "Examples:\n"
    "  dorven-host doctor\n"
    "  dorven-host doctor -c camera.ini\n"
    "  dorven-host doctor --json\n";

constexpr const char* kBenchHelp =
    "bench starts the simulator that stands beside it and loads the plugin as a host does; the callback only notes "
    "times. Each number is shown beside the bare limit of this machine, measured in the same run, and their ratio. "
    "Lateness compares the simulator's time stamps with an even grid. On Linux the run has its own object names; on "
    "Windows it fails while a simulator or a host uses the names.\n"
    "\n"
    "Examples:\n"
    "  dorven-host bench\n"
    "  dorven-host bench --size 640x480 --bytes-per-pixel 2 --fps 500\n"
    "  dorven-host bench --fps 100 --fps 2000 --seconds 10 --json\n";

constexpr const char* kCallHelp =
    "VALUE is the command's parameter: a number (nan and inf are numbers, too), true or false, or the numbers of a "
    "structure in the order of its fields, separated by commas. Commands that take a text take any; without VALUE "
    "they get a null text. 1005 takes host (a function that lets images pass) or null, 1114 and 1115 take null. A "
    "VALUE such as -inf looks like an option: write -- before it.\n"
    "\n"
    "Units: frame rate (1106, 1107) images/s; clipping (1007, 1008, 1014) pixels and lines; pixel size (1013) "
    "micrometres; image memory (1011) frame_time s and time_stamp us.\n"
    "\n"
    "Examples:\n"
    "  dorven-host call 1107\n"
    "  dorven-host call 1106 50 --open\n"
    "  dorven-host call 1008 -c camera.ini --json\n";

constexpr const char* kAskSnapHelp =
    "dorven-simulator takes no pictures: it writes \"SNAP\" and that snapping is not implemented to its logs, and "
    "sends the request back as it was, which looks like success. ask-snap does not load the plugin. It fails while a "
    "host has the camera open, because that host uses the camera's end of the link.\n"
    "\n"
    "Examples:\n"
    "  dorven-host ask-snap\n"
    "  dorven-host ask-snap --json\n"
    "  dorven-host ask-snap --timeout 2\n";

// Of the program itself.
constexpr const char* kHelp =
    "Examples:\n"
    "  dorven-host info\n"
    "  dorven-host grab -n 300\n"
    "  dorven-host snap picture.png\n"
    "  dorven-host verify --fault-log faults.jsonl -n 1000\n"
    "  dorven-host doctor -c camera.ini\n"
    "  dorven-host help grab\n";

constexpr const char* kExitCodes =
    "\n"
    "Exit codes: 0 done, 1 failed or a limit broken, 2 wrong usage, 3 no image or answer in time, 4 connection lost.";

}  // namespace host
