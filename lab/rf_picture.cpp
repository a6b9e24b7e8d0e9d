#include "lab/rf_picture.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <iomanip>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "harness/child_process.h"
#include "lab/json.h"
#include "lab/rf_geometry.h"

namespace lab {

namespace {

// Pixels.
constexpr double picture_width = 1000;
constexpr double plot_left = 44;
constexpr double plot_width = picture_width - plot_left - 12;
constexpr double plot_height = 280;
constexpr double title_height = 34;
constexpr double axis_height = 18;
constexpr double radio_height = 17;
constexpr double panel_gap = 14;
constexpr double letter_width = 6;  // of a label; every font is made to fit
constexpr double label_height = 12;
constexpr double label_gap = 4;
constexpr double leader_from = 14;  // distance of a label beyond which a line leads to it

constexpr int weakest_dbm = -100;
constexpr int strongest_dbm = -20;
constexpr std::size_t colours = 6;
constexpr std::size_t bssid_length = 17;

constexpr const char* style = R"(<style>
svg{--paper:#fff;--ink:#1f2328;--faint:#d8dee4;--own:#57606a;
--c0:#0550ae;--c1:#a40e26;--c2:#116329;--c3:#8250df;--c4:#953800;--c5:#0f6b74;
font:11px system-ui,sans-serif}
@media (prefers-color-scheme:dark){svg{--paper:#0d1117;--ink:#e6edf3;--faint:#30363d;--own:#9da7b3;
--c0:#79c0ff;--c1:#ff9492;--c2:#7ee787;--c3:#d2a8ff;--c4:#ffa657;--c5:#76e3ea}}
.paper{fill:var(--paper)}.grid{stroke:var(--faint)}
text{fill:var(--ink)}.title{font-size:14px;font-weight:600}
.own{fill:var(--own);fill-opacity:.16}.bar{fill:var(--own);fill-opacity:.45}
.ap{stroke-width:1.3}
.bssid{font:10px ui-monospace,monospace;paint-order:stroke;stroke:var(--paper);stroke-width:2.5px}
.leader{stroke-width:.7;stroke-opacity:.6}
.c0{fill:var(--c0);stroke:var(--c0)}.c1{fill:var(--c1);stroke:var(--c1)}
.c2{fill:var(--c2);stroke:var(--c2)}.c3{fill:var(--c3);stroke:var(--c3)}
.c4{fill:var(--c4);stroke:var(--c4)}.c5{fill:var(--c5);stroke:var(--c5)}
text.c0,text.c1,text.c2,text.c3,text.c4,text.c5{stroke:var(--paper)}
</style>
)";

struct heard_point {
    std::string bssid;
    int rssi;
    mhz_range block;
};

struct own_radio {
    int id;
    int power;
    mhz_range block;
};

struct band_content {
    std::vector<heard_point> heard;  // the strongest first
    std::vector<own_radio> radios;
};

struct band_panel {
    int band;
    const char* name;
    mhz_range range;
    int first_mark, last_mark, step;  // channels that have their number below them
};

constexpr band_panel panels[] = {
    {2, "2.4 GHz", {2392, 2497}, 1, 14, 1},
    {5, "5 GHz", {5160, 5905}, 36, 177, 4},
    {6, "6 GHz", {5935, 7135}, 1, 233, 8},
};

// From 144 on, channels of 5 GHz are one further: 149, 153 and so on. None lie between 64 and 100.
std::vector<int> marked_channels(const band_panel& panel) {
    std::vector<int> marks;
    for (int channel = panel.first_mark; channel <= panel.last_mark; channel += panel.step) {
        if (panel.band == 5 && channel == 68) channel = 100;
        if (panel.band == 5 && channel == 148) channel = 149;
        marks.push_back(channel);
    }
    return marks;
}

channel_use use_of(const json& from) {
    return {.band = number_of(from, "band"),
            .channel = number_of(from, "channel"),
            .width_mhz = number_of(from, "bandwidth"),
            .primary = text_of(from, "primary-channel")};
}

// Whatever the message has, the picture has no markup of it.
std::string plain_bssid(const std::string& text) {
    std::string plain = text.substr(0, bssid_length);
    for (char& c : plain) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != ':') c = '?';
    }
    return plain;
}

std::map<int, band_content> read_bands(const json& root) {
    std::map<std::string, const json*> strongest;  // of all sweeps, by BSSID
    for (const json& sweep : member(root, "rf-environment")) {
        for (const json& heard : sweep) {
            const auto [row, added] = strongest.try_emplace(text_of(heard, "bssid"), &heard);
            if (number_of(heard, "rssi") > number_of(*row->second, "rssi")) row->second = &heard;
        }
    }

    std::map<int, band_content> bands;
    for (const auto& [bssid, heard] : strongest) {
        const auto use = use_of(*heard);
        if (const auto block = block_of(use)) {
            bands[use.band].heard.push_back(
                {plain_bssid(bssid), number_of(*heard, "rssi"), *block});
        }
    }
    for (auto& [number, band] : bands) {
        std::stable_sort(band.heard.begin(), band.heard.end(),
                         [](const auto& a, const auto& b) { return a.rssi > b.rssi; });
    }

    for (const json& radio : member(root, "radios")) {
        const auto use = use_of(radio);
        const auto block = block_of(use);
        if (!block || number_of(radio, "status") == 0) continue;
        bands[use.band].radios.push_back(
            {number_of(radio, "id"), number_of(radio, "power"), *block});
    }
    return bands;
}

// One band, whose plot begins at `top`.
class panel_drawing {
  public:
    panel_drawing(std::ostream& svg, const band_panel& panel, const band_content& content,
                  double top)
        : svg_(svg), panel_(panel), content_(content), top_(top), bottom_(top + plot_height) {}

    void draw() {
        draw_radios();
        draw_axes();
        draw_shapes();
        const std::size_t unlabelled = draw_labels();
        draw_title(unlabelled);
    }

  private:
    double x_of(double mhz) const {
        const auto [low, high] = panel_.range;
        return plot_left + (std::clamp(mhz, low, high) - low) / (high - low) * plot_width;
    }
    double y_of(int dbm) const {
        const int within = std::clamp(dbm, weakest_dbm, strongest_dbm);
        return bottom_ - plot_height * (within - weakest_dbm) / (strongest_dbm - weakest_dbm);
    }
    static std::string colour_of(std::size_t index) {
        return "c" + std::to_string(index % colours);
    }

    void draw_title(std::size_t unlabelled) {
        const auto baseline = top_ - 14;
        text(plot_left, baseline, "title", "start", panel_.name);

        const std::size_t heard = content_.heard.size();
        std::string count =
            std::to_string(heard) + (heard == 1 ? " access point" : " access points");
        if (unlabelled != 0) {
            count += ": " + std::to_string(heard - unlabelled) + " with a label, and " +
                     std::to_string(unlabelled) + " more";
        }
        text(plot_left + plot_width, baseline, "count", "end", count);
    }

    void draw_axes() {
        for (int dbm = weakest_dbm; dbm <= strongest_dbm; dbm += 10) {
            svg_ << "<path class=\"grid\" d=\"M" << plot_left << ' ' << y_of(dbm) << 'h'
                 << plot_width << "\"/>\n";
            text(plot_left - 6, y_of(dbm) + 4, "dbm", "end", std::to_string(dbm));
        }
        for (const int channel : marked_channels(panel_)) {
            text(x_of(middle_mhz(panel_.band, channel)), bottom_ + 13, "channel", "middle",
                 std::to_string(channel));
        }
    }

    // Each radio has a bar of its own below the channels, and its channel is shaded.
    void draw_radios() {
        double y = bottom_ + axis_height;
        for (const auto& radio : content_.radios) {
            const double left = x_of(radio.block.low);
            const double width = x_of(radio.block.high) - left;
            rectangle("own", {left, top_, width, plot_height});
            rectangle("bar", {left, y, width, radio_height - 3});

            const bool to_the_left = left > plot_left + plot_width / 2;
            text(to_the_left ? left - 5 : left + width + 5, y + 11, "radio",
                 to_the_left ? "end" : "start",
                 "our wlan" + std::to_string(radio.id) + ", " + std::to_string(radio.power) +
                     " dBm");
            y += radio_height;
        }
    }

    // The more shapes there are, the less each covers what is behind it.
    void draw_shapes() {
        const auto count = static_cast<double>(content_.heard.size());
        svg_ << "<g fill-opacity=\"" << std::setprecision(3) << std::min(0.08, 1.2 / count)
             << std::setprecision(1) << "\">\n";
        std::size_t index = 0;
        for (const auto& heard : content_.heard) {
            const double left = x_of(heard.block.low);
            const double width = x_of(heard.block.high) - left;
            const double slope = std::min(6.0, width / 4);
            svg_ << "<path class=\"ap " << colour_of(index++) << "\" d=\"M" << left << ' '
                 << bottom_ << 'L' << left + slope << ' ' << y_of(heard.rssi) << 'h'
                 << width - 2 * slope << 'L' << left + width << ' ' << bottom_ << "\"/>\n";
        }
        svg_ << "</g>\n";
    }

    // Returns how many found no room.
    std::size_t draw_labels() {
        std::vector<point> anchors;
        for (const auto& heard : content_.heard) {
            anchors.push_back(
                {(x_of(heard.block.low) + x_of(heard.block.high)) / 2, y_of(heard.rssi) - 1});
        }
        const box label{0, 0, bssid_length * letter_width + label_gap, label_height};
        const box area{plot_left, top_ - label_height, plot_width, plot_height + label_height};
        const auto places = place_labels(anchors, label, area);

        for (std::size_t i = 0; i < places.size(); ++i) {
            if (places[i]) draw_leader(anchors[i], *places[i], i);
        }
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (places[i]) draw_bssid(*places[i], i);
        }
        return static_cast<std::size_t>(std::count(places.begin(), places.end(), std::nullopt));
    }

    void draw_leader(const point& anchor, const box& place, std::size_t index) {
        const double x = std::clamp(anchor.x, place.x + 4, place.x + place.width - 4);
        const double y = place.y > anchor.y ? place.y : place.y + place.height;
        if (std::hypot(x - anchor.x, y - anchor.y) < leader_from) return;
        svg_ << "<path class=\"leader " << colour_of(index) << "\" d=\"M" << anchor.x << ' '
             << anchor.y << 'L' << x << ' ' << y << "\"/>\n";
    }

    void draw_bssid(const box& place, std::size_t index) {
        const auto& bssid = content_.heard[index].bssid;
        svg_ << "<text class=\"bssid " << colour_of(index) << "\" text-anchor=\"middle\" x=\""
             << place.x + place.width / 2 << "\" y=\"" << place.y + place.height - 2
             << "\" textLength=\"" << static_cast<double>(bssid.size()) * letter_width << "\">"
             << bssid << "</text>\n";
    }

    void rectangle(const char* kind, const box& where) {
        svg_ << "<rect class=\"" << kind << "\" x=\"" << where.x << "\" y=\"" << where.y
             << "\" width=\"" << where.width << "\" height=\"" << where.height << "\"/>\n";
    }

    void text(double x, double y, const char* kind, const char* anchor, const std::string& what) {
        svg_ << "<text class=\"" << kind << "\" text-anchor=\"" << anchor << "\" x=\"" << x
             << "\" y=\"" << y << "\">" << what << "</text>\n";
    }

    std::ostream& svg_;
    const band_panel& panel_;
    const band_content& content_;
    const double top_;
    const double bottom_;
};

std::string& picture_file() {
    static std::string path;
    return path;
}

double height_below_plot(const band_content& content) {
    return axis_height + radio_height * static_cast<double>(content.radios.size()) + panel_gap;
}

}  // namespace

std::string draw_environment(const std::string& message) {
    const json root = parse_json(message);
    const auto bands = read_bands(root);
    std::ostringstream body;
    body << std::fixed << std::setprecision(1);

    double top = 0;
    for (const auto& panel : panels) {
        const auto found = bands.find(panel.band);
        if (found == bands.end()) continue;
        top += title_height;
        panel_drawing(body, panel, found->second, top).draw();
        top += plot_height + height_below_plot(found->second);
    }

    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" role=\"img\" viewBox=\"0 0 " << picture_width
        << ' ' << top << "\" width=\"" << picture_width << "\" height=\"" << top << "\">\n"
        << "<title>What the radios heard: channels to the right, dBm upwards</title>\n"
        << style << "<rect class=\"paper\" width=\"100%\" height=\"100%\"/>\n"
        << body.str() << "</svg>\n";
    return svg.str();
}

void use_picture_file(std::string path) { picture_file() = std::move(path); }

std::string write_picture(const std::string& message) {
    if (!picture_file().empty()) write_file(picture_file(), draw_environment(message));
    return picture_file();
}

}  // namespace lab
