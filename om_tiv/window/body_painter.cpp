#include "window/body_painter.h"

#include "window/look.h"
#include "world/degrees.h"

#include <QRadialGradient>
#include <QRgba64>

#include <algorithm>
#include <array>
#include <cmath>

namespace benchwindow {

namespace {

using om::bench::conjugate;
using om::bench::dot;
using om::bench::length;
using om::bench::pi;
using om::bench::rotate;
using om::bench::toRadians;

constexpr double eyeDistance = 6.0;
constexpr double floorHeight = -0.92;
constexpr double roseRadius = 1.5; ///< radius
const Vector eye{0.0, 0.0, eyeDistance};

bool isSeen(const Vector& normal, const Vector& point)
{
    return dot(normal, eye - point) > 0.0;
}

int channel(double value)
{
    return static_cast<int>(std::clamp(value, 0.0, 255.0));
}

/// One lamp above to the left, ambient light, and a little gloss.
QColor lit(const QColor& colour, const Vector& normal)
{
    static const Vector lamp = (1.0 / length({-0.45, 0.8, 0.65})) * Vector{-0.45, 0.8, 0.65};
    static const Vector between = lamp + Vector{0.0, 0.0, 1.0};
    static const Vector halfway = (1.0 / length(between)) * between;
    const double diffuse = std::max(0.0, dot(normal, lamp));
    const double shine = std::max(0.0, dot(normal, halfway));
    const double shine2 = shine * shine;
    const double shine4 = shine2 * shine2;
    const double gloss = 26.0 * (shine4 * shine4) * (shine4 * shine2);
    const double light = 0.42 + 0.78 * diffuse;
    return QColor(channel(colour.red() * light + gloss), channel(colour.green() * light + gloss),
                  channel(colour.blue() * light + gloss));
}

} // namespace

QPointF Projection::fromEye(const Vector& v) const
{
    const double nearness = scale * eyeDistance / (eyeDistance - v.z);
    return centre + QPointF(nearness * v.x, -nearness * v.y);
}

QPointF Projection::at(const Vector& world) const
{
    return fromEye(rotate(conjugate(viewAttitude()), world));
}

QRectF Projection::around(const BodyShape& shape, const Quaternion& pose) const
{
    // What is in a box is in the picture between the box's corners.
    const Quaternion toEye = conjugate(viewAttitude()) * pose;
    QPolygonF corners;
    for (const Vector& corner : shape.box) {
        corners << fromEye(rotate(toEye, corner));
    }
    return corners.boundingRect();
}

BodyPainter::BodyPainter(QPainter& painter, const Projection& projection)
    : m_painter(painter), m_projection(projection)
{
    m_painter.setRenderHint(QPainter::Antialiasing);
}

QBrush BodyPainter::brush(const QColor& opaque)
{
    // With an opaque brush Qt 5.15 changes between AVX2 and SSE code at each span of pixels,
    // because it copies the spans that are covered as a whole. It blends all spans of a brush whose
    // alpha is not the largest of 16 bits. In a picture with 8 bits the result is the same.
    constexpr quint16 almost = 0xfffe;
    const QRgba64 c = opaque.rgba64();
    return QColor::fromRgba64(c.red(), c.green(), c.blue(), almost);
}

void BodyPainter::paintCircle(double radius, const QColor& colour, double width)
{
    QPolygonF points;
    for (int i = 0; i < 120; ++i) {
        const double angle = 2.0 * pi * i / 120.0;
        points << m_projection.at(
            {radius * std::cos(angle), floorHeight, radius * std::sin(angle)});
    }
    m_painter.setPen(QPen(colour, width));
    m_painter.setBrush(Qt::NoBrush);
    m_painter.drawPolygon(points);
}

void BodyPainter::paintFloorPolygon(const std::vector<Vector>& points, const QColor& colour)
{
    QPolygonF polygon;
    for (const Vector& point : points) {
        polygon << m_projection.at(point);
    }
    m_painter.setPen(Qt::NoPen);
    m_painter.setBrush(colour);
    m_painter.drawPolygon(polygon);
}

void BodyPainter::paintFloor(double declination, bool letters)
{
    // The shadow of the body.
    const QPointF below = m_projection.at({0.0, floorHeight, 0.0});
    const double reach = 1.15 * m_projection.scale;
    m_painter.save();
    m_painter.translate(below);
    m_painter.scale(1.0, 0.5);
    QRadialGradient shade(QPointF(0.0, 0.0), reach);
    shade.setColorAt(0.0, QColor(0, 0, 0, 150));
    shade.setColorAt(1.0, QColor(0, 0, 0, 0));
    m_painter.setPen(Qt::NoPen);
    m_painter.setBrush(shade);
    m_painter.drawEllipse(QPointF(0.0, 0.0), reach, reach);
    m_painter.restore();

    paintCircle(roseRadius, look::charcoal, 1.5);
    paintCircle(0.72 * roseRadius, look::steel, 1.0);
    for (int degree = 0; degree < 360; degree += 10) {
        const double angle = toRadians(degree);
        const bool main = degree % 90 == 0;
        const double inner = main ? 0.88 : degree % 30 == 0 ? 0.92 : 0.96;
        const Vector outward{std::sin(angle), 0.0, -std::cos(angle)};
        const Vector down{0.0, floorHeight, 0.0};
        m_painter.setPen(QPen(main ? look::ash : look::charcoal, main ? 2.0 : 1.0));
        m_painter.drawLine(m_projection.at(inner * roseRadius * outward + down),
                           m_projection.at(roseRadius * outward + down));
    }

    const double angle = toRadians(declination);
    const Vector north{std::sin(angle), 0.0, -std::cos(angle)};
    const Vector side{0.07 * std::cos(angle), 0.0, 0.07 * std::sin(angle)};
    const Vector down{0.0, floorHeight, 0.0};
    const Vector tip = 0.84 * roseRadius * north;
    paintFloorPolygon({down + tip, down + side, down - side}, QColor(190, 66, 66));
    paintFloorPolygon({down - tip, down + side, down - side}, QColor(120, 120, 120));

    if (letters) {
        QFont font = m_painter.font();
        font.setPixelSize(13);
        font.setBold(true);
        m_painter.setFont(font);
        const char* const names[] = {"N", "E", "S", "W"};
        for (int i = 0; i < 4; ++i) {
            const double at = i * pi / 2.0;
            const QPointF p = m_projection.at(
                {1.12 * roseRadius * std::sin(at), floorHeight, -1.12 * roseRadius * std::cos(at)});
            m_painter.setPen(i == 0 ? look::pearl : look::ash);
            m_painter.drawText(QRectF(p.x() - 12, p.y() - 10, 24, 20), Qt::AlignCenter, names[i]);
        }
    }
}

void BodyPainter::paintFaces(const std::vector<Face>& faces, const Quaternion& toEye, double seam)
{
    for (const Face& face : faces) {
        const Vector normal = rotate(toEye, face.normal);
        if (!isSeen(normal, rotate(toEye, face.points.front()))) {
            continue;
        }
        m_polygon.resize(0);
        for (const Vector& point : face.points) {
            m_polygon << m_projection.fromEye(rotate(toEye, point));
        }
        const QColor colour = lit(face.colour, normal);
        // A thin line of the same colour closes the seam between two faces.
        m_painter.setPen(seam > 0.0 ? QPen(colour, seam) : QPen(Qt::NoPen));
        m_painter.setBrush(brush(colour));
        m_painter.drawPolygon(m_polygon);
    }
}

void BodyPainter::paintDisc(const Vector& centre, double radius, const Quaternion& toEye,
                            const QColor& colour)
{
    static const std::array<Vector, 48> circle = [] {
        std::array<Vector, 48> points;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double angle = 2.0 * pi * static_cast<double>(i) / 48.0;
            points[i] = {std::cos(angle), std::sin(angle), 0.0};
        }
        return points;
    }();
    m_polygon.resize(0);
    for (const Vector& point : circle) {
        m_polygon << m_projection.fromEye(rotate(toEye, centre + radius * point));
    }
    m_painter.setPen(Qt::NoPen);
    m_painter.setBrush(colour.alpha() == 255 ? brush(colour) : QBrush(colour));
    m_painter.drawPolygon(m_polygon);
}

void BodyPainter::paintGlass(const Lens& lens, double front, const Quaternion& toEye)
{
    const Vector centre{lens.x, 0.0, front - BodyShape::lensHeight};
    const Vector normal = rotate(toEye, {0.0, 0.0, -1.0});
    if (!isSeen(normal, rotate(toEye, centre))) {
        return;
    }
    paintDisc(centre, lens.radius, toEye, lit(lens.ring, normal));
    paintDisc(centre, 0.82 * lens.radius, toEye, QColor(10, 10, 12));
    // Darker and bluer towards the middle.
    for (int ring = 0; ring < 6; ++ring) {
        const double share = ring / 5.0;
        paintDisc(
            centre, (0.68 - 0.42 * share) * lens.radius, toEye,
            QColor(channel(16 + 10 * share), channel(22 + 30 * share), channel(34 + 62 * share)));
    }
    // The reflection of the lamp stays on the side of the lamp.
    const Vector glint = rotate(conjugate(toEye), {-0.35, 0.4, 0.0});
    const Vector spot{centre.x + lens.radius * glint.x, centre.y + lens.radius * glint.y, centre.z};
    paintDisc(spot, 0.12 * lens.radius, toEye, QColor(226, 234, 246, 210));
}

void BodyPainter::paintBody(const BodyShape& shape, const Quaternion& pose)
{
    const Quaternion toEye = conjugate(viewAttitude()) * pose;
    const double front = -shape.depth / 2.0;
    std::vector<const Lens*> lenses; // the farthest first
    for (const Lens& lens : shape.lenses) {
        lenses.push_back(&lens);
    }
    const auto depthOf = [&](const Lens* l) { return rotate(toEye, {l->x, 0.0, front}).z; };
    std::sort(lenses.begin(), lenses.end(),
              [&](const Lens* a, const Lens* b) { return depthOf(a) < depthOf(b); });

    // The plane of the front separates the lenses from the hull: the part on the eye's side is
    // painted last.
    const bool frontSeen =
        isSeen(rotate(toEye, {0.0, 0.0, -1.0}), rotate(toEye, {0.0, 0.0, front}));
    const auto paintLenses = [&] {
        for (const Lens* const lens : lenses) {
            paintFaces(lens->barrel, toEye, 0.7);
            paintGlass(*lens, front, toEye);
        }
    };
    if (!frontSeen) {
        paintLenses();
    }
    paintFaces(shape.hull, toEye, 0.9);
    paintFaces(shape.marks, toEye, 0.0);
    if (frontSeen) {
        paintLenses();
    }
}

} // namespace benchwindow
