#pragma once

// Runs the command as a user does.

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

namespace qdvm::qdmix::test {

struct Outcome {
    int status = -1;  // of the exit; negative after a crash
    std::string out;
    std::string err;
};

// Waits for the end of the command, generously.
Outcome RunCommand(const std::vector<std::string>& arguments);

// A command that runs beside the test. What it prints on standard output goes to `out`, if given.
class RunningCommand {
public:
    explicit RunningCommand(const std::vector<std::string>& arguments);
    ~RunningCommand();
    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;

    // The next line of its standard error; empty at its end.
    std::string ErrorLine();
    void Send(int signal);
    int WaitForStatus();

private:
    int process = 0;
    int errorPipe = -1;
};

// Runs a pipeline, written as for gst-launch, to its end.
bool Launch(const std::string& pipeline);

// What a YUV4MPEG file holds.
struct Film {
    std::string header;
    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::string> frames;  // I420 without padding

    // Brightness at a pixel of a frame.
    int Luma(std::size_t frame, std::size_t x, std::size_t y) const {
        return static_cast<unsigned char>(frames.at(frame).at(y * width + x));
    }
};

Film ReadFilm(const std::filesystem::path& path);

}  // namespace qdvm::qdmix::test
