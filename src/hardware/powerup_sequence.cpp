#include "hardware/powerup_sequence.h"

namespace Orvek {

const std::vector<PowerupStep>& powerupSequence() {
    constexpr PowerupStep::Kind W = PowerupStep::Write;
    constexpr PowerupStep delay{PowerupStep::Delay, 0, 0};
    // 0x85 is overwritten with the task's hop rate later in the preamble. The 0x3x and 0x7x
    // groups get the same set-up except 0x71, which takes 0x80 where 0x31 takes 0x00; the
    // difference is intended. 0x97/0x98 write 0x00 to register 0x00 of the external board.
    static const std::vector<PowerupStep> sequence = {
        {W, 0x80, 0x0E}, {W, 0x83, 0x00}, {W, 0x85, 0x00}, {W, 0x84, 0x08}, {W, 0x8E, 0x7F},
        delay,           delay,           {W, 0x75, 0x00}, {W, 0x74, 0x00}, {W, 0x35, 0x00},
        {W, 0x34, 0x00}, delay,           delay,           {W, 0x33, 0x08}, {W, 0x32, 0x02},
        {W, 0x31, 0x00}, {W, 0x30, 0x00}, {W, 0x73, 0x08}, {W, 0x72, 0x02}, {W, 0x71, 0x80},
        {W, 0x70, 0x00}, delay,           delay,           {W, 0x97, 0x00}, {W, 0x98, 0x00},
        {W, 0x9B, 0x00}, {W, 0x9A, 0x18},
    };
    return sequence;
}

} // namespace Orvek
