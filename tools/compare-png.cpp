/*
 * quarlo-compare: compares PNG pictures pixel by pixel, two files or two numbered series, and says
 * where the first difference is. Exit status: 0 equal, 1 different, 2 wrong arguments or files that
 * cannot be read.
 */
#include <png.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

enum ExitStatus { exitEqual = 0, exitDifferent = 1, exitUnusable = 2 };

struct Options {
    std::vector<std::string> operands;
    unsigned count = 1;
    unsigned tolerance = 0;
};

struct Picture {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint8_t> rgb;
};

Picture load(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        throw std::runtime_error(path + ": " + image.message);
    }
    image.format = PNG_FORMAT_RGB;
    Picture picture{image.width, image.height, {}};
    picture.rgb.resize(PNG_IMAGE_SIZE(image));
    const png_color black{};
    if (png_image_finish_read(&image, &black, picture.rgb.data(), 0, nullptr) == 0) {
        throw std::runtime_error(path + ": " + image.message);
    }
    return picture;
}

void printPixel(const Picture& picture, std::size_t offset) {
    std::printf("#%02x%02x%02x", picture.rgb[offset], picture.rgb[offset + 1],
                picture.rgb[offset + 2]);
}

bool differs(const Picture& a, const Picture& b, std::size_t pixel, unsigned tolerance) {
    for (std::size_t at = pixel * 3; at < pixel * 3 + 3; ++at) {
        if (static_cast<unsigned>(std::abs(a.rgb[at] - b.rgb[at])) > tolerance) return true;
    }
    return false;
}

bool compare(const std::string& pathA, const std::string& pathB, unsigned tolerance) {
    const Picture a = load(pathA);
    const Picture b = load(pathB);
    if (a.width != b.width || a.height != b.height) {
        std::printf("%s is %u x %u, %s is %u x %u\n", pathA.c_str(), a.width, a.height,
                    pathB.c_str(), b.width, b.height);
        return false;
    }
    const std::size_t pixels = a.rgb.size() / 3;
    std::size_t different = 0;
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
        if (!differs(a, b, pixel, tolerance) || different++ > 0) continue;
        std::printf("%s and %s differ first at (%zu, %zu): ", pathA.c_str(), pathB.c_str(),
                    pixel % a.width, pixel / a.width);
        printPixel(a, pixel * 3);
        std::printf(" and ");
        printPixel(b, pixel * 3);
    }
    if (different > 0) std::printf(", in %zu of %zu pixels\n", different, pixels);
    return different == 0;
}

// Not a format string of printf: it comes from the command line.
std::string numbered(const std::string& pattern, unsigned number) {
    const std::size_t begin = pattern.find('%');
    const std::size_t end = pattern.find('d', begin);
    if (begin == std::string::npos || end == std::string::npos) {
        throw std::runtime_error("'" + pattern +
                                 "' has no number; allowed: a name with %d or %04d");
    }
    const std::string width = pattern.substr(begin + 1, end - begin - 1);
    if (width.size() > 2 || width.find_first_not_of("0123456789") != std::string::npos) {
        throw std::runtime_error("'" + pattern +
                                 "' is not allowed; allowed: a name with %d or %04d");
    }
    std::string digits = std::to_string(number);
    const std::size_t wanted = width.empty() ? 0 : std::stoul(width);
    if (digits.size() < wanted) digits.insert(0, wanted - digits.size(), '0');
    return pattern.substr(0, begin) + digits + pattern.substr(end + 1);
}

bool compareSeries(const Options& options) {
    for (unsigned number = 1; number <= options.count; ++number) {
        const std::string a = options.operands[0] + "/" + numbered(options.operands[1], number);
        const std::string b = options.operands[2] + "/" + numbered(options.operands[3], number);
        if (!compare(a, b, options.tolerance)) return false;
    }
    return true;
}

bool run(const Options& options) {
    switch (options.operands.size()) {
        case 2:
            return compare(options.operands[0], options.operands[1], options.tolerance);
        case 4:
            return compareSeries(options);
        default:
            throw std::runtime_error("allowed: FILE FILE, or DIR PATTERN DIR PATTERN");
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Compares pictures pixel by pixel, without their alpha channel.",
                 "quarlo-compare");
    app.add_option("pictures", options.operands,
                   "FILE FILE, or DIR PATTERN DIR PATTERN with names like frame-%04d.png")
        ->required();
    app.add_option("--count", options.count, "Number of pictures in a series, numbered from 1")
        ->check(CLI::Range(1U, 1'000'000U));
    app.add_option("--tolerance", options.tolerance, "Difference of a colour that is overlooked")
        ->check(CLI::Range(0U, 255U));
    try {
        app.parse(argc, argv);
        return run(options) ? exitEqual : exitDifferent;
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return exitEqual;
    } catch (const std::exception& problem) {
        std::cerr << "quarlo-compare: " << problem.what() << '\n';
        return exitUnusable;
    }
}
