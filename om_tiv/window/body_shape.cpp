#include "window/body_shape.h"

#include "window/look.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace benchwindow {

namespace {

using om::bench::pi;
using om::bench::Vector;

constexpr int cornerSteps = 9;
constexpr double bevel = 0.035;
constexpr double lift = 0.002; ///< distance of marks from the hull

const QColor graphite(52, 54, 58);
const QColor shadowGrey(38, 40, 43);
const QColor aluminium(176, 180, 186);
const QColor darkAluminium(120, 124, 130);
const QColor socket(14, 14, 15);

struct Model
{
    const char* name;
    double width;
    double height;
    double depth;
    double corner; ///< radius of the outline's corners, seen from the front
    double baseline;
    double lens;
    QColor body;
    QColor front;
    QColor ring;
    double band; ///< distance of the bands from the middle; 0 for none
};

const std::array<Model, 6> models = {{
    {"TIV", 1.90, 0.34, 0.34, 0.17, 1.30, 0.105, aluminium, shadowGrey, darkAluminium, 0.0},
    {"TIV_N", 1.50, 0.36, 0.32, 0.18, 0.80, 0.105, graphite, graphite, QColor(232, 190, 60), 0.60},
    {"TIV_P", 2.00, 0.38, 0.42, 0.14, 1.30, 0.120, graphite, shadowGrey, aluminium, 0.0},
    {"TIV_Q", 2.00, 0.42, 0.50, 0.12, 1.30, 0.135, QColor(66, 70, 76), shadowGrey, aluminium, 0.84},
    {"TIV_R", 1.10, 0.46, 0.46, 0.10, 0.55, 0.125, graphite, shadowGrey, darkAluminium, 0.0},
    {"TIV_S", 1.60, 0.46, 0.46, 0.10, 1.05, 0.140, graphite, shadowGrey, darkAluminium, 0.0},
}};

/// The origin is inside the body, so a face's normal points away from it.
Face outward(std::vector<Vector> points, const QColor& colour)
{
    Vector normal = cross(points[1] - points[0], points[2] - points[1]);
    Vector middle;
    for (const Vector& point : points) {
        middle = middle + point;
    }
    const double sign = om::bench::dot(normal, middle) < 0.0 ? -1.0 : 1.0;
    normal = (sign / om::bench::length(normal)) * normal;
    return {std::move(points), normal, colour};
}

/// A rounded rectangle about the z axis, counterclockwise seen from the back.
std::vector<Vector> outline(double width, double height, double corner, double z)
{
    std::vector<Vector> points;
    for (int quarter = 0; quarter < 4; ++quarter) {
        const double sx = quarter == 0 || quarter == 3 ? 1.0 : -1.0;
        const double sy = quarter < 2 ? 1.0 : -1.0;
        const Vector centre{sx * (width / 2.0 - corner), sy * (height / 2.0 - corner), z};
        for (int step = 0; step <= cornerSteps; ++step) {
            const double angle = pi / 2.0 * (quarter + static_cast<double>(step) / cornerSteps);
            points.push_back(centre + corner * Vector{std::cos(angle), std::sin(angle), 0.0});
        }
    }
    return points;
}

void addRing(std::vector<Face>& faces, const std::vector<Vector>& a, const std::vector<Vector>& b,
             const QColor& colour)
{
    for (std::size_t i = 0; i < a.size(); ++i) {
        const std::size_t next = (i + 1) % a.size();
        // The corners of a fully rounded end touch each other.
        if (om::bench::length(a[next] - a[i]) > 1e-9) {
            faces.push_back(outward({a[i], a[next], b[next], b[i]}, colour));
        }
    }
}

std::vector<Face> hullOf(const Model& m)
{
    const double z = m.depth / 2.0;
    const double inner = std::max(m.corner - bevel, 0.01);
    const auto frontCap = outline(m.width - 2.0 * bevel, m.height - 2.0 * bevel, inner, -z);
    const auto front = outline(m.width, m.height, m.corner, -z + bevel);
    const auto back = outline(m.width, m.height, m.corner, z - bevel);
    const auto backCap = outline(m.width - 2.0 * bevel, m.height - 2.0 * bevel, inner, z);
    std::vector<Face> faces;
    addRing(faces, front, back, m.body);
    addRing(faces, frontCap, front, m.body.lighter(112));
    addRing(faces, back, backCap, m.body.lighter(112));
    faces.push_back(outward(frontCap, m.front));
    faces.push_back(outward(backCap, m.body.darker(115)));
    return faces;
}

/// A rectangle around a centre, spanned by two half edges.
Face plate(const Vector& centre, const Vector& u, const Vector& v, const QColor& colour)
{
    return outward({centre - u - v, centre + u - v, centre + u + v, centre - u + v}, colour);
}

/// An aluminium band around the body: over front, top, back and bottom with their bevels.
void addBand(std::vector<Face>& marks, const Model& m, double x)
{
    const double y = m.height / 2.0 + lift;
    const double z = m.depth / 2.0 + lift;
    const std::array<Vector, 8> around = {{{x, y - bevel, -z},
                                           {x, y, -z + bevel},
                                           {x, y, z - bevel},
                                           {x, y - bevel, z},
                                           {x, -y + bevel, z},
                                           {x, -y, z - bevel},
                                           {x, -y, -z + bevel},
                                           {x, -y + bevel, -z}}};
    const Vector half{0.014, 0.0, 0.0};
    for (std::size_t i = 0; i < around.size(); ++i) {
        const Vector& a = around[i];
        const Vector& b = around[(i + 1) % around.size()];
        marks.push_back(outward({a - half, a + half, b + half, b - half}, aluminium));
    }
}

std::vector<Face> marksOf(const Model& m)
{
    const double top = m.height / 2.0 + lift;
    const double back = m.depth / 2.0 + lift;
    std::vector<Face> marks;
    if (m.band > 0.0) {
        addBand(marks, m, m.band);
        addBand(marks, m, -m.band);
    }
    // An arrow on the top that points forward.
    const double tip = 0.32 * m.depth;
    marks.push_back(outward(
        {{0.0, top, -tip}, {0.075, top, 0.2 * m.depth}, {-0.075, top, 0.2 * m.depth}}, look::lime));
    // The plug at the back with its frame, and a type plate.
    marks.push_back(plate({0.0, 0.0, back}, {0.15, 0.0, 0.0}, {0.0, 0.075, 0.0}, darkAluminium));
    marks.push_back(plate({0.0, 0.0, back + lift}, {0.105, 0.0, 0.0}, {0.0, 0.036, 0.0}, socket));
    marks.push_back(
        plate({0.32 * m.width, 0.0, back}, {0.1, 0.0, 0.0}, {0.0, 0.05, 0.0}, m.body.lighter(135)));
    // The tripod thread at the bottom.
    std::vector<Vector> thread;
    for (int i = 0; i < 20; ++i) {
        const double angle = 2.0 * pi * i / 20.0;
        thread.push_back({0.06 * std::cos(angle), -top, 0.06 * std::sin(angle)});
    }
    marks.push_back(outward(thread, socket));
    // The light between the lenses.
    marks.push_back(plate({0.0, 0.0, -back}, {0.022, 0.0, 0.0}, {0.0, 0.012, 0.0}, look::lime));
    return marks;
}

std::vector<Face> barrelOf(const Lens& lens, double front)
{
    constexpr int steps = 32;
    const auto rim = [&](int i, double z) {
        const double angle = 2.0 * pi * i / steps;
        return Vector{lens.x + lens.radius * std::cos(angle), lens.radius * std::sin(angle), z};
    };
    std::vector<Face> faces;
    for (int i = 0; i < steps; ++i) {
        const double angle = 2.0 * pi * (i + 0.5) / steps;
        faces.push_back(
            {{rim(i, front), rim(i + 1, front), rim(i + 1, front - BodyShape::lensHeight),
              rim(i, front - BodyShape::lensHeight)},
             {std::cos(angle), std::sin(angle), 0.0},
             lens.ring});
    }
    return faces;
}

std::array<Vector, 8> boxOf(const BodyShape& shape)
{
    Vector low;
    Vector high;
    const auto include = [&](const std::vector<Face>& faces) {
        for (const Face& face : faces) {
            for (const Vector& p : face.points) {
                low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
                high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
            }
        }
    };
    include(shape.hull);
    include(shape.marks);
    for (const Lens& lens : shape.lenses) {
        include(lens.barrel);
    }
    std::array<Vector, 8> corners;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        corners[i] = {(i & 1U) != 0 ? high.x : low.x, (i & 2U) != 0 ? high.y : low.y,
                      (i & 4U) != 0 ? high.z : low.z};
    }
    return corners;
}

BodyShape makeShape(const Model& m)
{
    BodyShape shape;
    shape.width = m.width;
    shape.height = m.height;
    shape.depth = m.depth;
    shape.hull = hullOf(m);
    shape.marks = marksOf(m);
    for (const double side : {-0.5, 0.5}) {
        Lens lens{side * m.baseline, m.lens, m.ring, {}};
        lens.barrel = barrelOf(lens, -m.depth / 2.0);
        shape.lenses.push_back(std::move(lens));
    }
    shape.box = boxOf(shape);
    return shape;
}

} // namespace

const BodyShape& shapeOf(const QString& model)
{
    static const std::array<BodyShape, models.size()> shapes = [] {
        std::array<BodyShape, models.size()> made;
        for (std::size_t i = 0; i < models.size(); ++i) {
            made[i] = makeShape(models[i]);
        }
        return made;
    }();
    constexpr std::size_t fallback = 3;
    for (std::size_t i = 0; i < models.size(); ++i) {
        if (model == QLatin1String(models[i].name)) {
            return shapes[i];
        }
    }
    return shapes[fallback];
}

} // namespace benchwindow
