// Starts host and simulator as separate processes, with the host's outputs in files.
#pragma once

#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "child_process.h"
#include "temporary_folder.h"

namespace test {

class ProgramsTest : public testing::Test {
protected:
    ProgramsTest() {
        _folder.file("sub/camera.ini", "[image]\nimage_size_x=900\nimage_size_y=40\n");
        _config = _folder.file("plugin.ini", "[Dorven]\ncamera_config=sub/camera.ini\n");
    }

    ChildProcess startHost(Arguments arguments) {
        arguments.insert(arguments.begin(), {_folder.path("out.txt"), _folder.path("err.txt")});
        return {"hostWithOutputs", arguments};
    }
    ChildProcess startGrab(Arguments arguments) {
        arguments.insert(arguments.begin(), {"grab", "--config", _config, "--json"});
        return startHost(std::move(arguments));
    }
    /// The outputs are in the same files as the host's.
    ChildProcess startSimulatorWithOutputs(Arguments arguments) {
        arguments.insert(arguments.begin(), {_folder.path("out.txt"), _folder.path("err.txt")});
        return {"simulatorWithOutputs", arguments};
    }
    static ChildProcess startSimulator(const Arguments& arguments) {
        return ChildProcess::program("dorven-simulator", arguments);
    }
    std::string text(const std::string& name) const {
        std::ifstream file(_folder.path(name));
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    std::string people() const { return text("err.txt"); }
    nlohmann::json data() const { return nlohmann::json::parse(text("out.txt"), nullptr, false); }

    TemporaryFolder _folder;
    std::string _config;
};

}  // namespace test
