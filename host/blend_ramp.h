#pragma once

namespace sorvane::host {

/// Factors of the delayed input and of the engine's result, whose sum is the output.
struct Blend {
    float dry = 0.0F;
    float wet = 1.0F;

    bool operator==(const Blend&) const = default;
};

/// `amount` goes from 0, the input, to 1, the result; `inverted` gives what the result lacks
/// instead.
inline Blend blendOf(float amount, bool inverted) {
    return inverted ? Blend{amount, -amount} : Blend{1.0F - amount, amount};
}

/// Factors that go to new values in a straight line over a fixed number of samples. Depends on
/// positions in the stream alone, not on how blocks cut it.
class BlendRamp {
public:
    explicit BlendRamp(int samples) : length(samples), position(samples) {}

    /// Goes to `target` from where the ramp is now.
    void moveTo(Blend target) {
        if (target == to)
            return;
        from = at(0);
        to = target;
        position = 0;
    }

    void jumpTo(Blend target) {
        to = target;
        position = length;
    }

    /// The factors `ahead` samples from now.
    [[nodiscard]] Blend at(int ahead) const {
        if (ahead >= length - position)
            return to;
        const float part = static_cast<float>(position + ahead) / static_cast<float>(length);
        return {from.dry + part * (to.dry - from.dry), from.wet + part * (to.wet - from.wet)};
    }

    void advance(int count) { position = count < length - position ? position + count : length; }

    [[nodiscard]] bool isMoving() const { return position < length; }

private:
    int length;
    int position; // samples of the ramp that have passed
    Blend from;
    Blend to;
};

} // namespace sorvane::host
