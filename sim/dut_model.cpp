#include "sim/dut_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace Orvek {
namespace Sim {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kZ0 = 50.0;

// e^(-j 2 pi f tau): the phase of a line of delay `delayNs` at `freqMHz`.
Complex delayPhase(double freqMHz, double delayNs) {
    const double angle = -2.0 * kPi * freqMHz * 1e6 * delayNs * 1e-9;
    return std::polar(1.0, angle);
}

// Element values of the Chebyshev low-pass prototype, g[1]..g[order] (g[0] unused).
std::vector<double> chebyshevPrototype(int order, double rippleDb) {
    std::vector<double> g(order + 1, 0.0);
    const double beta = std::log(1.0 / std::tanh(rippleDb / 17.37));
    const double gamma = std::sinh(beta / (2.0 * order));
    std::vector<double> a(order + 1), b(order + 1);
    for (int k = 1; k <= order; ++k) {
        a[k] = std::sin((2.0 * k - 1.0) * kPi / (2.0 * order));
        const double s = std::sin(k * kPi / order);
        b[k] = gamma * gamma + s * s;
    }
    g[1] = 2.0 * a[1] / gamma;
    for (int k = 2; k <= order; ++k)
        g[k] = 4.0 * a[k - 1] * a[k] / (b[k - 1] * g[k - 1]);
    return g;
}

struct Abcd {
    Complex a{1.0}, b{0.0}, c{0.0}, d{1.0};
};

Abcd cascade(const Abcd& x, const Abcd& y) {
    return {x.a * y.a + x.b * y.c, x.a * y.b + x.b * y.d, x.c * y.a + x.d * y.c,
            x.c * y.b + x.d * y.d};
}

void checkPort(int port) {
    if (port < 0 || port >= DutModel::kMaxPorts)
        throw std::invalid_argument("DUT port " + std::to_string(port) + " is not 0..7");
}

const char* kindName(ElementKind kind) {
    switch (kind) {
    case ElementKind::BandPassFilter:
        return "filter";
    case ElementKind::Thru:
        return "thru";
    case ElementKind::Open:
        return "open";
    case ElementKind::Short:
        return "short";
    case ElementKind::Load:
        return "load";
    case ElementKind::Matrix:
        return "matrix";
    }
    return "?";
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, separator))
        parts.push_back(part);
    return parts;
}

double parseNumber(const std::string& text, const std::string& element) {
    try {
        size_t used = 0;
        const double value = std::stod(text, &used);
        if (used == text.size() && std::isfinite(value))
            return value;
    } catch (const std::exception&) {
    }
    throw std::invalid_argument("bad number \"" + text + "\" in DUT element \"" + element + "\"");
}

int parsePort(const std::string& text, const std::string& element) {
    const double value = parseNumber(text, element);
    if (value != std::floor(value) || value < 0 || value >= DutModel::kMaxPorts)
        throw std::invalid_argument("bad port \"" + text + "\" in DUT element \"" + element + "\"");
    return static_cast<int>(value);
}

} // namespace

TwoPortS bandPassFilterS(const BandPassFilterDesign& design, double freqMHz) {
    TwoPortS s{};
    if (!(freqMHz > 0.0)) {
        // At DC the shunt resonators' inductors short the line.
        s[0][0] = s[1][1] = -1.0;
        return s;
    }
    const double w = 2.0 * kPi * freqMHz * 1e6;
    const double w0 = 2.0 * kPi * design.centreMHz * 1e6;
    const double fbw = design.bandwidthMHz / design.centreMHz;
    const int order = design.order < 1 ? 1 : design.order;
    const std::vector<double> g = chebyshevPrototype(order, design.rippleDb);
    const Complex j(0.0, 1.0);

    Abcd total;
    for (int k = 1; k <= order; ++k) {
        Abcd stage;
        if (k % 2 == 1) {
            // Shunt parallel resonator.
            const double c = g[k] / (fbw * w0 * kZ0);
            const double l = fbw * kZ0 / (w0 * g[k]);
            const double loss = design.unloadedQ > 0.0 ? w0 * c / design.unloadedQ : 0.0;
            stage.c = j * w * c + 1.0 / (j * w * l) + loss;
        } else {
            // Series resonator.
            const double l = g[k] * kZ0 / (fbw * w0);
            const double c = fbw / (w0 * g[k] * kZ0);
            const double loss = design.unloadedQ > 0.0 ? w0 * l / design.unloadedQ : 0.0;
            stage.b = j * w * l + 1.0 / (j * w * c) + loss;
        }
        total = cascade(total, stage);
    }
    const Complex denominator = total.a + total.b / kZ0 + total.c * kZ0 + total.d;
    s[0][0] = (total.a + total.b / kZ0 - total.c * kZ0 - total.d) / denominator;
    s[1][1] = (-total.a + total.b / kZ0 - total.c * kZ0 + total.d) / denominator;
    // A passive ladder is reciprocal (AD - BC = 1); using that keeps S12 exact where the
    // stop band makes the ABCD terms huge.
    s[1][0] = 2.0 / denominator;
    s[0][1] = s[1][0];

    // The connector lines: reflections travel each line twice, transmissions both once.
    const Complex line = delayPhase(freqMHz, design.lineDelayNs);
    for (auto& row : s)
        for (auto& value : row)
            value *= line * line;
    return s;
}

void DutModel::removePort(int port) {
    for (auto it = elements_.begin(); it != elements_.end();) {
        // Anything connected displaces the port matrix, which occupies every port.
        if (it->port1 == port || it->port2 == port || it->kind == ElementKind::Matrix)
            it = elements_.erase(it);
        else
            ++it;
    }
}

const DutElement* DutModel::elementAt(int port) const {
    for (const auto& element : elements_)
        if (element.port1 == port || element.port2 == port)
            return &element;
    return nullptr;
}

void DutModel::connectFilter(int port1, int port2, const BandPassFilterDesign& design) {
    checkPort(port1);
    checkPort(port2);
    if (port1 == port2)
        throw std::invalid_argument("a filter needs two different ports");
    if (!(design.centreMHz > 0.0) || !(design.bandwidthMHz > 0.0) || design.order < 1 ||
        design.order > 15 || !(design.rippleDb > 0.0))
        throw std::invalid_argument("filter needs a positive centre, bandwidth and ripple and "
                                    "an order of 1 to 15");
    removePort(port1);
    removePort(port2);
    DutElement element;
    element.kind = ElementKind::BandPassFilter;
    element.port1 = port1;
    element.port2 = port2;
    element.filter = design;
    elements_.push_back(element);
}

void DutModel::connectThru(int port1, int port2, double delayNs, double lossDb) {
    checkPort(port1);
    checkPort(port2);
    if (port1 == port2)
        throw std::invalid_argument("a thru needs two different ports");
    removePort(port1);
    removePort(port2);
    DutElement element;
    element.kind = ElementKind::Thru;
    element.port1 = port1;
    element.port2 = port2;
    element.delayNs = delayNs;
    element.lossDb = lossDb;
    elements_.push_back(element);
}

void DutModel::terminate(int port, ElementKind oneport, double offsetDelayNs) {
    checkPort(port);
    if (oneport != ElementKind::Open && oneport != ElementKind::Short &&
        oneport != ElementKind::Load)
        throw std::invalid_argument("terminate() takes open, short or load");
    removePort(port);
    DutElement element;
    element.kind = oneport;
    element.port1 = port;
    element.delayNs = offsetDelayNs;
    elements_.push_back(element);
}

void DutModel::connectMatrix() {
    elements_.clear();
    DutElement element;
    element.kind = ElementKind::Matrix;
    elements_.push_back(element);
}

Complex DutModel::s(int outPort, int inPort, double freqMHz) const {
    if (outPort < 0 || outPort >= kMaxPorts || inPort < 0 || inPort >= kMaxPorts)
        return 0.0;
    if (!elements_.empty() && elements_.front().kind == ElementKind::Matrix) {
        // Magnitudes 0.95 down to 0.26 in steps of 0.011 over the 64 pairs, so neighbouring
        // pairs differ by 11 counts at the unit's source level.
        const int pair = outPort * kMaxPorts + inPort;
        const double delayNs = 0.3 + 0.11 * outPort + 0.37 * inPort;
        return (0.95 - 0.011 * pair) * delayPhase(freqMHz, delayNs);
    }
    const DutElement* element = elementAt(inPort);
    if (!element)
        return 0.0;
    const bool sameElement = element->port1 == outPort || element->port2 == outPort;
    if (!sameElement)
        return 0.0;
    switch (element->kind) {
    case ElementKind::Open:
        return delayPhase(freqMHz, 2.0 * element->delayNs);
    case ElementKind::Short:
        return -delayPhase(freqMHz, 2.0 * element->delayNs);
    case ElementKind::Load:
    case ElementKind::Matrix:
        return 0.0;
    case ElementKind::Thru:
        if (outPort == inPort)
            return 0.0;
        return std::pow(10.0, -element->lossDb / 20.0) * delayPhase(freqMHz, element->delayNs);
    case ElementKind::BandPassFilter: {
        const TwoPortS filter = bandPassFilterS(element->filter, freqMHz);
        const int out = outPort == element->port1 ? 0 : 1;
        const int in = inPort == element->port1 ? 0 : 1;
        return filter[out][in];
    }
    }
    return 0.0;
}

std::string DutModel::describe() const {
    if (elements_.empty())
        return "none";
    std::string text;
    char buffer[160];
    for (const auto& element : elements_) {
        if (!text.empty())
            text += ",";
        switch (element.kind) {
        case ElementKind::BandPassFilter:
            std::snprintf(buffer, sizeof buffer, "filter:%d-%d:%g:%g:%d", element.port1,
                          element.port2, element.filter.centreMHz, element.filter.bandwidthMHz,
                          element.filter.order);
            break;
        case ElementKind::Thru:
            std::snprintf(buffer, sizeof buffer, "thru:%d-%d:%g:%g", element.port1, element.port2,
                          element.delayNs, element.lossDb);
            break;
        case ElementKind::Matrix:
            std::snprintf(buffer, sizeof buffer, "matrix");
            break;
        default:
            std::snprintf(buffer, sizeof buffer, "%s:%d", kindName(element.kind), element.port1);
            break;
        }
        text += buffer;
    }
    return text;
}

DutModel DutModel::parse(const std::string& text) {
    DutModel model;
    if (text.empty() || text == "none")
        return model;
    for (const std::string& item : split(text, ',')) {
        const std::vector<std::string> fields = split(item, ':');
        if (fields.empty())
            throw std::invalid_argument("empty DUT element");
        const std::string& kind = fields[0];
        if (kind == "matrix" && fields.size() == 1) {
            model.connectMatrix();
            continue;
        }
        if (kind == "open" || kind == "short" || kind == "load") {
            if (fields.size() < 2 || fields.size() > 3)
                throw std::invalid_argument("DUT element \"" + item + "\" needs KIND:PORT");
            const ElementKind oneport = kind == "open"    ? ElementKind::Open
                                        : kind == "short" ? ElementKind::Short
                                                          : ElementKind::Load;
            const double offset = fields.size() == 3 ? parseNumber(fields[2], item) : 0.0;
            model.terminate(parsePort(fields[1], item), oneport, offset);
            continue;
        }
        if (kind != "filter" && kind != "thru")
            throw std::invalid_argument("unknown DUT element \"" + item + "\"");
        if (fields.size() < 2)
            throw std::invalid_argument("DUT element \"" + item + "\" needs ports P-Q");
        const std::vector<std::string> ports = split(fields[1], '-');
        if (ports.size() != 2)
            throw std::invalid_argument("DUT element \"" + item + "\" needs ports P-Q");
        const int port1 = parsePort(ports[0], item);
        const int port2 = parsePort(ports[1], item);
        if (kind == "thru") {
            if (fields.size() > 4)
                throw std::invalid_argument("too many fields in \"" + item + "\"");
            const double delay = fields.size() > 2 ? parseNumber(fields[2], item) : 0.5;
            const double loss = fields.size() > 3 ? parseNumber(fields[3], item) : 0.2;
            model.connectThru(port1, port2, delay, loss);
            continue;
        }
        if (fields.size() != 2 && fields.size() != 4 && fields.size() != 5)
            throw std::invalid_argument("DUT element \"" + item +
                                        "\" needs filter:P-Q[:centre:bandwidth[:order]]");
        BandPassFilterDesign design;
        if (fields.size() >= 4) {
            design.centreMHz = parseNumber(fields[2], item);
            design.bandwidthMHz = parseNumber(fields[3], item);
        }
        if (fields.size() == 5)
            design.order = static_cast<int>(parseNumber(fields[4], item));
        model.connectFilter(port1, port2, design);
    }
    return model;
}

DutModel DutModel::standardBench(double minimumMHz, double maximumMHz) {
    DutModel model;
    BandPassFilterDesign filter;
    maximumMHz = std::max(maximumMHz, 2.0);
    minimumMHz = std::clamp(minimumMHz, 1.0, maximumMHz / 2);
    filter.centreMHz = std::sqrt(minimumMHz * maximumMHz);
    filter.bandwidthMHz = filter.centreMHz * 0.2;
    model.connectFilter(0, 1, filter);
    model.connectThru(2, 3, 0.8, 0.3);
    model.terminate(4, ElementKind::Open, 0.02);
    model.terminate(5, ElementKind::Short, 0.02);
    model.terminate(6, ElementKind::Load);
    return model;
}

} // namespace Sim
} // namespace Orvek
