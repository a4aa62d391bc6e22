// PROM images: files, decoding and the description as text.
#include "prom_image.h"

#include <cctype>
#include <cstdio>
#include <memory>
#include <new>
#include <sstream>

#include "core/exceptions.h"
#include "prom/prom_validation.h"
#include "text_file.h"

namespace Orvek {
namespace Vna {

bool isBlankImage(const std::vector<std::uint8_t>& image) {
    for (std::uint8_t byte : image)
        if (byte != 0x00 && byte != 0xFF)
            return false;
    return true;
}

std::size_t imageLength(const std::vector<std::uint8_t>& head) {
    // Without a header (bytes 0..10 all 0 or 0xFF) the list length stands at offset 0.
    bool header = false;
    for (int i = 0; i <= 10; ++i)
        header = header || (head[i] != 0x00 && head[i] != 0xFF);
    const std::size_t at = header ? 20 : 0;
    if (head[at] == 0xFF && head[at + 1] == 0xFF)
        return 0;
    return at + 2 + (static_cast<std::size_t>(head[at]) << 8 | head[at + 1]);
}

int decodeImage(std::vector<std::uint8_t> image, tarnvna_prom_t& prom) {
    if (image.empty() || isBlankImage(image))
        return ERR_EMPTY_PROM;
    if (image.size() > kMaxImageBytes)
        return ERR_BYTES;
    PromParameters parameters;
    try {
        parameters.interpretFullBytestream(std::vector<int>(image.begin(), image.end()));
        if (!TARN::validatePromVerbose(parameters, false).first)
            return ERR_BAD_PROM;
        parameters.getSwitchboardType(); // throws for a board type the driver does not know
    } catch (const std::exception&) {
        return ERR_BAD_PROM;
    }
    prom.image = std::move(image);
    prom.parameters = parameters;
    return ERR_OK;
}

namespace {

bool parseHexImage(const std::string& text, std::vector<std::uint8_t>& image) {
    std::vector<std::uint8_t> bytes;
    int high = -1;
    for (char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (std::isspace(u)) {
            if (high >= 0)
                return false; // a byte is two adjacent digits
            continue;
        }
        if (!std::isxdigit(u))
            return false;
        const int digit = std::isdigit(u) ? u - '0' : std::tolower(u) - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<std::uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    if (high >= 0)
        return false;
    image = std::move(bytes);
    return true;
}

void addField(std::ostringstream& out, bool json, bool& first, const std::string& name,
              const std::string& value, bool quoted = false) {
    if (json) {
        out << (first ? "\n  " : ",\n  ") << '"' << name << "\": ";
        if (quoted) {
            out << '"';
            for (char c : value) {
                const unsigned char u = static_cast<unsigned char>(c);
                if (c == '"' || c == '\\')
                    out << '\\' << c;
                else if (u < 0x20 || u >= 0x7F) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", u);
                    out << escaped;
                } else
                    out << c;
            }
            out << '"';
        } else {
            out << value;
        }
    } else {
        out << name << ": " << value << "\n";
    }
    first = false;
}

std::string list(const std::vector<std::string>& items, bool json) {
    std::string text = json ? "[" : "";
    for (std::size_t i = 0; i < items.size(); ++i)
        text += (i ? (json ? ", " : " ") : "") + items[i];
    return json ? text + "]" : (items.empty() ? "none" : text);
}

const char* boardName(int type) {
    static const char* const names[] = {"none", "simple-4port", "tdd-4port", "simple-8port",
                                        "s-param"};
    return type >= 0 && type <= 4 ? names[type] : "unknown";
}

std::string describe(const PromParameters& p, const std::vector<std::uint8_t>& image, bool json) {
    std::ostringstream out;
    bool first = true;
    auto number = [](double value) { return exactNumber(value); };
    auto key = [&p](int k) { return p.isKeyPresent(k); };
    if (json)
        out << "{";
    addField(out, json, first, "image_bytes", std::to_string(image.size()));
    addField(out, json, first, "unit_address_octet", std::to_string(p.unitAddress()));
    addField(out, json, first, "prom_capacity_bytes", std::to_string(p.promCapacity()));
    addField(out, json, first, "minimum_frequency_mhz", std::to_string(p.Minimum_freq));
    addField(out, json, first, "maximum_frequency_mhz", std::to_string(p.Maximum_freq));
    addField(out, json, first, "maximum_points", std::to_string(p.Maximum_number_of_points));
    std::vector<std::string> bands;
    for (int i = 0; i < p.Number_of_band_boundaries && i < 8; ++i)
        bands.push_back(std::to_string(p.Band_boundaries[i]));
    addField(out, json, first, "band_boundaries_mhz", list(bands, json));
    addField(out, json, first, "pll_type", p.PLL_type == 0 ? "integer" : "fractional", true);
    if (key(PromKey::IntPllDiv))
        addField(out, json, first, "pll_integer_divider", std::to_string(p.Int_PLL_Div));
    if (key(PromKey::FracPllMod))
        addField(out, json, first, "pll_fractional_modulus", std::to_string(p.Frac_PLL_MOD));
    std::vector<std::string> gains;
    for (int k = 0; k < 4; ++k)
        if (key(PromKey::FirstPllLoopGainBoundary + k))
            gains.push_back(std::to_string(p.PLL_loop_gain_boundaries[k]));
    addField(out, json, first, "pll_loop_gain_boundaries_mhz", list(gains, json));
    addField(out, json, first, "pll_prescaler",
             p.PLL_prescaler_in_use ? std::to_string(p.PLL_prescaler_setting) : "off",
             !p.PLL_prescaler_in_use);
    addField(out, json, first, "dds_reference_mhz", number(p.DDS_reference_frequency));
    addField(out, json, first, "master_clock_mhz", number(p.Master_clock_frequency));
    addField(out, json, first, "switch_board", boardName(p.Switchboard_byte & 0x0F), true);
    char flags[8];
    std::snprintf(flags, sizeof flags, "0x%02x", p.Feature_flags);
    addField(out, json, first, "feature_flags", flags, true);
    addField(out, json, first, "serial_number", std::to_string(p.Unit_serial_number));
    addField(out, json, first, "calibration_points",
             std::to_string(p.hasCalData() ? p.Number_of_calibration_points : 0));
    for (int k = 0; k < kTextKeys; ++k)
        if (key(PromKey::FirstText + k))
            addField(out, json, first, "text_" + std::to_string(PromKey::FirstText + k), p.Texts[k],
                     true);
    if (json)
        out << "\n}\n";
    return out.str();
}

} // namespace
} // namespace Vna
} // namespace Orvek

using namespace Orvek;
using namespace Orvek::Vna;

extern "C" {

int tarnvna_prom_load(const char* path, tarnvna_prom_t** prom) {
    if (!path || !prom)
        return ERR_INVALID_PARAMETER;
    std::string text;
    if (!readWholeFile(path, text) || text.empty() || text.size() > 4 * kMaxImageBytes)
        return ERR_BYTES;
    std::vector<std::uint8_t> image;
    if (!parseHexImage(text, image))
        image.assign(text.begin(), text.end());
    auto loaded = std::unique_ptr<tarnvna_prom_t>(new (std::nothrow) tarnvna_prom_t);
    if (!loaded)
        return ERR_BYTES;
    const int result = decodeImage(std::move(image), *loaded);
    if (result == ERR_OK)
        *prom = loaded.release();
    return result;
}

int tarnvna_prom_save(const tarnvna_prom_t* prom, const char* path) {
    if (!prom || !path)
        return ERR_INVALID_PARAMETER;
    std::string text;
    char digits[4];
    for (std::size_t i = 0; i < prom->image.size(); ++i) {
        std::snprintf(digits, sizeof digits, "%02x", prom->image[i]);
        text += digits;
        text += (i % 32 == 31 || i + 1 == prom->image.size()) ? "\n" : " ";
    }
    return writeWholeFile(path, text) ? ERR_OK : ERR_BYTES;
}

void tarnvna_prom_free(tarnvna_prom_t* prom) {
    delete prom;
}

const unsigned char* tarnvna_prom_bytes(const tarnvna_prom_t* prom, size_t* size) {
    if (!prom)
        return nullptr;
    if (size)
        *size = prom->image.size();
    return prom->image.data();
}

int tarnvna_prom_describe(const tarnvna_prom_t* prom, int json, char** text) {
    if (!prom || !text)
        return ERR_INVALID_PARAMETER;
    try {
        char* copy = mallocCopy(describe(prom->parameters, prom->image, json != 0));
        if (!copy)
            return ERR_BYTES;
        *text = copy;
        return ERR_OK;
    } catch (const std::exception&) {
        return ERR_BYTES;
    }
}

} // extern "C"
