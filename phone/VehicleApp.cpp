// The dashboard: the values that the head unit delivers, each with a bar where it is a number.
// Session thread.
#include "VehicleApp.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdlib>

namespace quarlo::phone {
namespace {

class VehicleApp : public App {
  public:
    std::string title() const override { return titleOf("vehicle", phone()); }
    void drawBackdrop(Canvas& canvas, const Box& box) override {
        for (std::size_t i = 0; i < vehicleKeys.size(); ++i)
            canvas.fillRounded(tile(box, i), tile(box, i).height * 0.08, themeOf(phone()).card);
    }
    void draw(Canvas& canvas, const Box& box, const Moment&) override {
        for (std::size_t i = 0; i < vehicleKeys.size(); ++i) drawTile(canvas, tile(box, i), i);
    }

  private:
    static Box tile(const Box& box, std::size_t index) {
        const std::size_t columns = box.width >= box.height ? 3 : 2;
        const std::size_t rows = (vehicleKeys.size() + columns - 1) / columns;
        const double width = box.width / static_cast<double>(columns);
        const double height = box.height / static_cast<double>(rows);
        const std::size_t column = index % columns;
        const std::size_t row = index / columns;
        return Box{box.x + width * static_cast<double>(column),
                   box.y + height * static_cast<double>(row), width, height}
            .inner(std::min(width, height) * 0.06);
    }

    void drawTile(Canvas& canvas, const Box& box, std::size_t index) const {
        const VehicleKey& key = vehicleKeys[index];
        const Theme theme = themeOf(phone());
        const double size = std::min(box.height * 0.24, box.width * 0.16);
        const Box room = box.inner(size * 0.5);
        canvas.text({room.x, room.y, room.width, size},
                    inLanguage(phone(), key.english, key.german, key.french),
                    {size * 0.62, theme.soft});
        const auto found = phone().vehicle.find(key.key);
        const std::string value = found == phone().vehicle.end() ? "–" : plain(found->second);
        canvas.text({room.x, room.y + size, room.width, size * 1.4}, value,
                    {size * 0.82, theme.text, Weight::Bold});
        const Box track{room.x, room.bottom() - size * 0.3, room.width, size * 0.3};
        canvas.fillRounded(track, track.height / 2, {theme.text.rgb, 0.12});
        const double share = shareOf(value, key.most);
        if (share > 0)
            canvas.fillRounded(
                {track.x, track.y, std::max(track.height, track.width * share), track.height},
                track.height / 2, {0xFF9A3C, 1});
    }

    /// A JSON text as people read it: a value with its unit. What is no JSON is shown as it came.
    static std::string plain(const std::string& text) {
        using nlohmann::json;
        const json parsed = json::parse(text, nullptr, false);
        if (parsed.is_discarded()) return text;
        if (!parsed.is_object()) return plainValue(parsed);
        std::string line;
        for (const char* part : {"value", "unit"}) {
            if (!parsed.contains(part)) continue;
            line += (line.empty() ? "" : " ") + plainValue(parsed[part]);
        }
        return line.empty() ? text : line;
    }

    static std::string plainValue(const nlohmann::json& value) {
        return value.is_string()
                   ? value.get<std::string>()
                   : value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }

    /// The first number in the text as a part of the most; 0 if there is none.
    static double shareOf(const std::string& text, double most) {
        const std::size_t at = text.find_first_of("0123456789");
        if (at == std::string::npos) return 0;
        const double value = std::strtod(text.c_str() + at, nullptr);
        return std::isfinite(value) ? std::clamp(value / most, 0.0, 1.0) : 0;
    }
};

}  // namespace

std::unique_ptr<App> makeVehicleApp() {
    return std::make_unique<VehicleApp>();
}

}  // namespace quarlo::phone
