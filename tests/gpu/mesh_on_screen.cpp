#include "gpu/mesh_on_screen.h"

#include <algorithm>
#include <cmath>

namespace {

/// The grey pixels that are not background: black, aluminium and lenses, and the yellow ones.
struct MeshPixels
{
    QRect box;      // of all of them
    QPointF yellow; // centre of the yellow ones
    int count = 0;
    int yellowCount = 0;
};

MeshPixels meshPixels(const QImage& picture)
{
    MeshPixels mesh;
    int left = 9999;
    int right = -1;
    int top = 9999;
    int bottom = -1;
    QPointF sum;
    for (int y = 6; y < picture.height() - 6; ++y) {
        for (int x = 6; x < picture.width() - 6; ++x) {
            const QRgb p = picture.pixel(x, y);
            const bool grey =
                std::abs(qRed(p) - qGreen(p)) < 4 && std::abs(qBlue(p) - qGreen(p)) < 4;
            const bool aluminium = qRed(p) > 150 && qBlue(p) > qRed(p) + 20 && qGreen(p) < qBlue(p);
            const bool yellow = qRed(p) > 240 && qGreen(p) > 240 && qBlue(p) < 20;
            if (yellow) {
                sum += QPointF(x + 0.5, y + 0.5);
                ++mesh.yellowCount;
            }
            if (yellow || aluminium || (grey && (qRed(p) < 8 || qRed(p) > 40))) {
                ++mesh.count;
                left = std::min(left, x);
                right = std::max(right, x);
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
        }
    }
    mesh.box = QRect(QPoint(left, top), QPoint(right, bottom));
    mesh.yellow = sum / std::max(mesh.yellowCount, 1);
    return mesh;
}

/// The same from the mesh's vertices, for a rotation of the camera.
struct Expected
{
    double left = 1e9;
    double right = -1e9;
    double top = 1e9;
    double bottom = -1e9;
    QPointF yellow;
};

Expected expectedOf(const SceneView& view, const Matrix& rotation)
{
    const std::vector<float>& vertices = OpenObject::verticesOf(*view.cameraModel);
    const std::vector<float>& colours = OpenObject::coloursOf(*view.cameraModel);
    Expected expected;
    QPointF sum;
    double area = 0.0;
    QPointF corner[3];
    for (std::size_t i = 0; i < vertices.size(); i += 3) {
        const QPointF p = place(view, times(rotation, {double(vertices[i]), double(vertices[i + 1]),
                                                       double(vertices[i + 2])}));
        expected.left = std::min(expected.left, p.x());
        expected.right = std::max(expected.right, p.x());
        expected.top = std::min(expected.top, p.y());
        expected.bottom = std::max(expected.bottom, p.y());
        corner[i / 3 % 3] = p;
        if (i / 3 % 3 == 2 && colours[i] == 1.0F) { // a yellow triangle
            const QPointF u = corner[1] - corner[0];
            const QPointF v = corner[2] - corner[0];
            const double a = std::abs(u.x() * v.y() - u.y() * v.x());
            sum += a * (corner[0] + corner[1] + corner[2]) / 3.0;
            area += a;
        }
    }
    expected.yellow = area > 0 ? sum / area : QPointF();
    return expected;
}

} // namespace

Matrix turn(int axis, double degrees)
{
    const double c = std::cos(degrees * M_PI / 180.0);
    const double s = std::sin(degrees * M_PI / 180.0);
    switch (axis) {
    case 0:
        return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
    case 1:
        return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
    default:
        return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
    }
}

Vector times(const Matrix& m, const Vector& v)
{
    Vector result{};
    for (std::size_t i = 0; i < 3; ++i) {
        result[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    }
    return result;
}

om::Orientation orientation(int axis, double degrees)
{
    om::Translation about;
    (axis == 0 ? about.x : axis == 1 ? about.y : about.z) = 1.0F;
    return om::Rotation(static_cast<float>(degrees * M_PI / 180.0), about);
}

QPointF place(const SceneView& view, const Vector& p)
{
    const om::Transform& vp = view.camera->getViewProjectionMatrix();
    std::array<double, 4> clip{};
    for (int row = 0; row < 4; ++row) {
        clip[std::size_t(row)] = double(vp(row, 0)) * p[0] + double(vp(row, 1)) * p[1] +
                                 double(vp(row, 2)) * p[2] + double(vp(row, 3));
    }
    const double side = std::max(view.width(), view.height());
    return {view.width() / 2.0 + clip[0] / clip[3] * side / 2.0,
            view.height() / 2.0 - clip[1] / clip[3] * side / 2.0};
}

int distance(const QImage& picture, QPointF at, int r, int g, int b)
{
    int least = 999;
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            const QPoint p(int(std::floor(at.x())) + dx, int(std::floor(at.y())) + dy);
            if (picture.valid(p)) {
                const QRgb pixel = picture.pixel(p);
                least = std::min(least, std::abs(qRed(pixel) - r) + std::abs(qGreen(pixel) - g) +
                                            std::abs(qBlue(pixel) - b));
            }
        }
    }
    return least;
}

int beside(const SceneView& view, const QImage& picture, const Vector& from, const Vector& to,
           const int (&colour)[3])
{
    const QPointF a = place(view, from);
    const QPointF b = place(view, to);
    const double length = std::hypot(b.x() - a.x(), b.y() - a.y());
    const QPointF normal(-(b.y() - a.y()) / length * 6.0, (b.x() - a.x()) / length * 6.0);
    return std::max(distance(picture, b + normal, colour[0], colour[1], colour[2]),
                    distance(picture, b - normal, colour[0], colour[1], colour[2]));
}

QString differenceFromScreen(SceneView& view, const Matrix& rotation)
{
    const MeshPixels seen = meshPixels(view.picture());
    const Expected expected = expectedOf(view, rotation);
    QString text = QStringLiteral("seen %1 %2 %3 %4, expected %5 %6 %7 %8")
                       .arg(seen.box.left())
                       .arg(seen.box.right() + 1)
                       .arg(seen.box.top())
                       .arg(seen.box.bottom() + 1)
                       .arg(expected.left)
                       .arg(expected.right)
                       .arg(expected.top)
                       .arg(expected.bottom);
    if (expected.left < 10 || expected.top < 10 || expected.right > view.width() - 10 ||
        expected.bottom > view.height() - 10) {
        return QStringLiteral("out of the picture: ") + text;
    }
    if (std::abs(seen.box.left() - expected.left) > 2.0 ||
        std::abs(seen.box.right() + 1 - expected.right) > 2.0 ||
        std::abs(seen.box.top() - expected.top) > 2.0 ||
        std::abs(seen.box.bottom() + 1 - expected.bottom) > 2.0) {
        return text;
    }
    // The lenses are also at the right end and on the right side, front or back.
    const QPointF off = seen.yellow - expected.yellow;
    if (seen.yellowCount < 40 || std::hypot(off.x(), off.y()) > 4.0) {
        return QStringLiteral("lenses off by %1 %2, %3 pixels")
            .arg(off.x())
            .arg(off.y())
            .arg(seen.yellowCount);
    }
    return {};
}
