#include "report/number_text.h"
#include "report/page.h"
#include "report/qt_text.h"
#include "report/verdicts.h"

#include <string>

namespace report {

namespace {

QString residualGrades()
{
    std::string grades;
    for (std::size_t i = 0; i < residualLimits.size(); ++i) {
        grades += (i == 0 ? "Up to " : ", up to ") + plainNumber(residualLimits.at(i)) + " µT " +
                  (i == 0 ? "it is " : "") + residualNames.at(i);
    }
    return text(grades) + ".";
}

} // namespace

QString definitionsHtml()
{
    // The formulas are those that the analysis computes.
    const auto definitions = QStringLiteral(
        "<dl>\n"
        "<dt>Axes</dt><dd>x to the right of the camera, y up, z backward.</dd>\n"
        "<dt>68 % interval</dt><dd>The true value lies in it in 68 of 100 recordings, as within "
        "one standard deviation. For a deviation σ with <i>d</i> equivalent degrees of freedom it "
        "is <span class=\"formula\">σ √(<i>d</i> / χ²(0.84, <i>d</i>)) to "
        "σ √(<i>d</i> / χ²(0.16, <i>d</i>))</span></dd>\n"
        "<dt>Missing sample, gap</dt><dd>An interval Δ<i>t</i> between two rows has room for "
        "round(Δ<i>t</i> / <i>T</i>) samples, with the median interval <i>T</i>. All but one of "
        "them are missing. In a decimated file, samples that the recorder left out by its numbers "
        "do not count.</dd>\n"
        "<dt>Rest</dt><dd>Seconds in which the mean acceleration and the mean angular velocity "
        "change on each axis by no more than 0.3 m/s² and 2 °/s or, if this is more, by no more "
        "than the noise explains (6 standard errors), and in which the mean angular velocity about "
        "each axis is at most 20 °/s. Noise is judged over the longest rest.</dd>\n"
        "<dt>Overlapping Allan deviation σ(τ)</dt><dd>With the integral <i>x</i> of the samples, "
        "τ = <i>m</i> τ<sub>0</sub> and <i>n</i> values of <i>x</i>:"
        "<span class=\"formula\">σ²(τ) = Σ (<i>x</i><sub>k+2m</sub> − 2 <i>x</i><sub>k+m</sub> + "
        "<i>x</i><sub>k</sub>)² / (2 τ² (<i>n</i> − 2<i>m</i>))</span>"
        "(W. J. Riley, NIST Special Publication 1065, 2008.)</dd>\n"
        "<dt>Noise density N, bias instability B, random walk K</dt><dd>The fit through σ(τ) is "
        "<span class=\"formula\">σ²(τ) = 3 Q²/τ² + N²/τ + (2 ln 2/π) B² + K² τ/3 + R² τ²/2"
        "</span>(IEEE Std 952-1997, annex C, with quantisation Q and ramp R.) N is its line of "
        "slope −1/2 at τ = 1 s, K its line of slope +1/2 at τ = 3 s, B the minimum of σ over "
        "0.664, without what the lines of N and K add to it. N is also called angle or velocity "
        "random walk, K rate or acceleration random walk. A "
        "coefficient whose slope is not in the data is not observable. What is not noise is "
        "removed first: lines of the spectrum, such as those of a vibration; spikes, in whose "
        "place the samples beside them are interpolated; and the part that changes linearly with "
        "the temperature of the IMU, if the temperature changes by at least one degree.</dd>\n"
        "<dt>Amplitude density</dt><dd>Root of the one-sided power density by Welch's method: "
        "segments of up to 8192 samples that overlap by half, under a Hann window. White noise of "
        "density N has the amplitude density √2 N.</dd>\n"
        "<dt>Magnetometer: fit</dt><dd>Offset <b>o</b> and shape <b>S</b> of the ellipsoid on "
        "which the readings lie. <b>S</b> is diagonal, as a camera stores it, or symmetric with "
        "cross terms. The correction with the radius <i>r</i> of the sphere of equal volume is"
        "<span class=\"formula\"><b>c</b> = <i>r</i> <b>S</b><sup>−1</sup> (<b>p</b> − <b>o</b>)"
        "</span></dd>\n"
        "<dt>Residual</dt><dd><span class=\"formula\">√( mean of (|<b>c</b>| − <i>r</i>)² )</span>"
        "%1</dd>\n"
        "<dt>Empty areas</dt><dd>Those without a reading, of 100 equal areas of the sphere: 10 "
        "slices of equal height, each in 10 sectors.</dd>\n"
        "<dt>Relative spread of the strength</dt><dd><span class=\"formula\">100 % · standard "
        "deviation of |<b>c</b>| / "
        "mean of |<b>c</b>|</span></dd>\n"
        "<dt>Wobble</dt><dd>With the mean <b>m</b> of the areas' mean readings, over areas that "
        "have a reading and whose opposite has one: <span class=\"formula\">100 % · 3 |<b>m</b>| / "
        "<i>r</i></span></dd>\n"
        "<dt>Fit error</dt><dd><span class=\"formula\">100 % · residual / <i>r</i></span></dd>\n"
        "<dt>Six positions</dt><dd>Least squares over the means <b>a</b> of the rests, each with "
        "gravity <b>g</b> along its nearest axis: <span class=\"formula\"><b>a</b> = (<b>I</b> + "
        "<b>E</b>) <b>g</b> + <b>b</b></span>The bias is <b>b</b>, the scale of an axis "
        "1 + E<sub>ii</sub>, its misalignment towards another E<sub>ik</sub>.</dd>\n"
        "<dt>Limits</dt><dd>A limit that is marked as ours is not from a standard. The limits of "
        "noise follow data sheets of silicon inertial sensors: the first is the level of the "
        "better ones, the second the worst level that is common in consumer devices.</dd>\n"
        "</dl>\n");
    return definitions.arg(residualGrades());
}

} // namespace report
