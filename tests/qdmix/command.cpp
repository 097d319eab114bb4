#include "qdmix/command.h"

#include <gst/gst.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace qdvm::qdmix::test {

namespace {

constexpr GstClockTime kTimeLimit = 60 * GST_SECOND;

struct Child {
    GPid process = 0;
    int out = -1;
    int err = -1;
};

// The leak checker of a sanitized build can't stop the threads of GStreamer reliably at the end of
// a process, and what it prints would look like the command's own words.
gchar** Environment() {
    gchar** environment = g_get_environ();
    const gchar* options = g_environ_getenv(environment, "ASAN_OPTIONS");
    const std::string without = std::string(options != nullptr ? options : "") + ":detect_leaks=0";
    return g_environ_setenv(environment, "ASAN_OPTIONS", without.c_str(), TRUE);
}

Child Spawn(std::vector<std::string> arguments, bool takesOut) {
    arguments.insert(arguments.begin(), QDMIX_BINARY);
    std::vector<gchar*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    Child child;
    gchar** environment = Environment();
    (void)g_spawn_async_with_pipes(nullptr, pointers.data(), environment, G_SPAWN_DO_NOT_REAP_CHILD,
                                   nullptr, nullptr, &child.process, nullptr,
                                   takesOut ? &child.out : nullptr, &child.err, nullptr);
    g_strfreev(environment);
    return child;
}

std::string ReadAll(int pipe) {
    std::string text;
    std::array<char, 65536> chunk{};
    for (ssize_t got = 0; (got = read(pipe, chunk.data(), chunk.size())) > 0;) {
        text.append(chunk.data(), static_cast<std::size_t>(got));
    }
    (void)close(pipe);
    return text;
}

int Wait(GPid process) {
    int waited = 0;
    if (process <= 0 || waitpid(process, &waited, 0) != process) {
        return -1;
    }
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : -WTERMSIG(waited);
}

}  // namespace

Outcome RunCommand(const std::vector<std::string>& arguments) {
    const Child child = Spawn(arguments, true);
    Outcome outcome;
    std::thread errors([&] { outcome.err = ReadAll(child.err); });
    outcome.out = ReadAll(child.out);
    errors.join();
    outcome.status = Wait(child.process);
    return outcome;
}

RunningCommand::RunningCommand(const std::vector<std::string>& arguments) {
    const Child child = Spawn(arguments, false);
    process = child.process;
    errorPipe = child.err;
}

RunningCommand::~RunningCommand() {
    if (process > 0) {
        (void)kill(process, SIGKILL);
        (void)Wait(process);
    }
    (void)close(errorPipe);
}

std::string RunningCommand::ErrorLine() {
    std::string line;
    char character = 0;
    while (read(errorPipe, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

void RunningCommand::Send(int signal) { (void)kill(process, signal); }

int RunningCommand::WaitForStatus() {
    const int status = Wait(process);
    process = 0;
    return status;
}

bool Launch(const std::string& pipeline) {
    GstElement* element = gst_parse_launch(pipeline.c_str(), nullptr);
    if (element == nullptr) {
        return false;
    }
    (void)gst_element_set_state(element, GST_STATE_PLAYING);
    GstBus* bus = gst_element_get_bus(element);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, kTimeLimit, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    const bool isDone = message != nullptr && GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS;
    if (message != nullptr) {
        gst_message_unref(message);
    }
    (void)gst_element_set_state(element, GST_STATE_NULL);
    gst_object_unref(bus);
    gst_object_unref(element);
    return isDone;
}

Film ReadFilm(const std::filesystem::path& path) {
    Film film;
    std::ifstream in(path, std::ios::binary);
    (void)std::getline(in, film.header);
    std::istringstream words(film.header);
    for (std::string word; words >> word;) {
        if (word[0] == 'W') {
            film.width = std::stoul(word.substr(1));
        } else if (word[0] == 'H') {
            film.height = std::stoul(word.substr(1));
        }
    }
    std::string frame(film.width * film.height * 3 / 2, '\0');
    for (std::string mark; std::getline(in, mark) && !frame.empty();) {
        if (!in.read(frame.data(), static_cast<std::streamsize>(frame.size()))) {
            break;
        }
        film.frames.push_back(frame);
    }
    return film;
}

}  // namespace qdvm::qdmix::test
