/*
 * quarlo-replay: plays the phone's side of a capture to the library, and prints what its host gets.
 */
#include <algorithm>
#include <exception>
#include <iostream>
#include <optional>

#include "Player.h"
#include "common/CommandLine.h"

namespace quarlo::replay {
namespace {

struct Options {
    std::string file;
    unsigned port = 5910;
    std::optional<unsigned> connection;
    Settings settings;
};

std::optional<double> parsePace(std::string_view text) {
    if (text == "max") return 0.0;
    if (text == "recorded") return 1.0;
    try {
        std::size_t read = 0;
        const double pace = std::stod(std::string(text), &read);
        if (read == text.size() && pace >= 0.001 && pace <= 1e6) return pace;
    } catch (const std::exception&) {
    }
    return {};
}

std::optional<int> readOptions(int argc, char** argv, Options& options) {
    CommandLine app("Plays what the phone sent in a capture, and prints what the host gets.",
                    "quarlo-replay");
    app.footer(
        "Exit status: 0 played; 1 the capture is incomplete, or the library answers otherwise; 2 "
        "there is nothing to play, or wrong arguments.");
    Settings& settings = options.settings;
    app.add_option("capture", options.file, "pcapng or pcap")->type_name("FILE")->required();
    addNumber(app, "--port", options.port, 1, 65535, "The phone's TCP port");
    app.add_option("--connection", options.connection, "Play this one only, counted from 0");
    addParsed(app, "--pace", settings.pace, parsePace,
              "max, recorded, or how many times as fast as recorded", "How fast to play")
        ->default_str("max");
    app.add_flag("--sent", settings.isSentShown, "Print what the library sends, too");
    app.add_flag("--compare", settings.isCompared,
                 "Print instead whether the library answers as it did in the capture");
    app.add_flag("--raw", settings.rawOutput, "Rectangles as the phone sent them");
    app.add_option("--name", settings.name, "The head unit's name, of a capture without its side");
    addParsed(app, "--language", settings.language, parseLanguage, languageWords, "Its language");
    addParsed(app, "--size", settings.size, parseSize, sizeWords, "Its screen in pixels")
        ->default_str(textOf(settings.size));
    addParsed(app, "--physical", settings.physicalSize, parseSize, sizeWords,
              "Its screen in millimetres")
        ->default_str(textOf(settings.physicalSize));
    addParsed(app, "--format", settings.layout.format, parseFormat, formatWords, "Its pixels")
        ->default_str(common::nameOf(settings.layout.format));
    addParsed(app, "--endian", settings.layout.order, parseOrder, orderWords, "Their byte order")
        ->default_str(common::nameOf(settings.layout.order));
    addParsed(app, "--compression", settings.compression, parseCompression, compressionWords,
              "The compression that it asks for")
        ->default_str(nameOfCompressions(settings.compression));
    return app.read(argc, argv);
}

void say(const std::string& problem) {
    std::cerr << "quarlo-replay: " << problem << '\n';
}

int playAll(const Options& options) {
    const Capture capture = readCapture(options.file, options.port);
    if (options.connection && *options.connection >= capture.connections.size()) {
        say(options.file + ": there is no connection " + std::to_string(*options.connection));
        return unplayable;
    }
    int status = played;
    for (unsigned i = 0; i < capture.connections.size(); ++i) {
        if (options.connection && *options.connection != i) continue;
        std::string problem;
        Player player(capture.connections[i], i, options.settings);
        status = std::max<int>(status, player.play(problem));
        if (!problem.empty()) say(options.file + ": " + problem);
    }
    if (!capture.cut.empty()) {
        say(options.file + ": " + capture.cut);
        status = std::max<int>(status, incomplete);
    }
    return status;
}

}  // namespace
}  // namespace quarlo::replay

int main(int argc, char** argv) {
    using namespace quarlo::replay;
    try {
        Options options;
        if (const auto status = readOptions(argc, argv, options)) return *status;
        return playAll(options);
    } catch (const std::exception& problem) {
        say(problem.what());
        return unplayable;
    }
}
