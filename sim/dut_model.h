#pragma once
// The device under test connected to a simulated unit's ports: a set of one- and two-port
// elements, each giving the S-parameters of the ports it occupies. A port that no element
// occupies is terminated in a perfect match (nothing reflected, nothing transmitted).
//
// Frequencies are MHz; S-parameters are complex voltage-wave ratios referred to 50 ohms.
#include <array>
#include <complex>
#include <string>
#include <vector>

namespace Orvek {
namespace Sim {

using Complex = std::complex<double>;

// Chebyshev band-pass filter built as a lumped ladder of coupled resonators, so that its
// reflections, group delay and out-of-band rejection behave like a real filter's.
struct BandPassFilterDesign {
    double centreMHz = 1000.0;
    double bandwidthMHz = 100.0; // ripple bandwidth
    int order = 5;               // odd, so both ends are 50 ohms
    double rippleDb = 0.1;
    double unloadedQ = 1000.0; // resonator losses; 0 means lossless
    double lineDelayNs = 0.25; // connector line at each end
};

// Matrix is a test fixture on all eight ports: every port couples to every port, each ordered
// pair (reflections included) with its own loss and delay, as a bank of isolating amplifiers
// between the ports would. Any two paths, in either direction, then measure differently.
enum class ElementKind { BandPassFilter, Thru, Open, Short, Load, Matrix };

struct DutElement {
    ElementKind kind = ElementKind::Load;
    int port1 = 0;
    int port2 = -1;              // second port of a two-port element, -1 for a one-port
    double delayNs = 0.0;        // thru length, or the offset of a one-port standard
    double lossDb = 0.0;         // thru insertion loss
    BandPassFilterDesign filter; // BandPassFilter only
};

class DutModel {
public:
    static constexpr int kMaxPorts = 8;

    // Every port matched and isolated.
    DutModel() = default;

    // Each call replaces whatever occupied the named ports before. Ports are 0..7;
    // std::invalid_argument for a port out of range or a two-port element on one port.
    void connectFilter(int port1, int port2, const BandPassFilterDesign& design);
    void connectThru(int port1, int port2, double delayNs = 0.5, double lossDb = 0.2);
    void terminate(int port, ElementKind oneport, double offsetDelayNs = 0.0);
    // Replaces everything with the port matrix.
    void connectMatrix();
    void clear() { elements_.clear(); }

    // S(outPort, inPort) at `freqMHz`: the wave leaving `outPort` per unit wave entering
    // `inPort`. Ports out of range give 0.
    Complex s(int outPort, int inPort, double freqMHz) const;

    const std::vector<DutElement>& elements() const { return elements_; }
    std::string describe() const;

    // Text form used by configuration files and the command line, elements separated by
    // commas:
    //   filter:P-Q[:centreMHz:bandwidthMHz[:order]]   band-pass filter between ports P and Q
    //   thru:P-Q[:delayNs[:lossDb]]                    line between P and Q
    //   open:P  short:P  load:P                        one-port standards
    //   matrix                                         the port matrix, alone
    //   empty (or "none")                              every port matched
    // std::invalid_argument with a message for anything else.
    static DutModel parse(const std::string& text);

    // The DUT that comes with every built-in profile: a band-pass filter centred in the
    // frequency plan between ports 0 and 1, a thru between 2 and 3, and open, short and load
    // standards on ports 4, 5 and 6.
    static DutModel standardBench(double minimumMHz, double maximumMHz);

private:
    void removePort(int port);
    const DutElement* elementAt(int port) const;

    std::vector<DutElement> elements_;
};

// S-parameters of a two-port; index [out][in] with 0 and 1 for the element's own ports.
using TwoPortS = std::array<std::array<Complex, 2>, 2>;

// The filter alone at `freqMHz`, exposed for tests of its passband and match.
TwoPortS bandPassFilterS(const BandPassFilterDesign& design, double freqMHz);

} // namespace Sim
} // namespace Orvek
