#include "charts/CurveTracker.h"

#include <QColor>
#include <QEvent>
#include <QPen>

#include <qwt_picker_machine.h>
#include <qwt_plot.h>
#include <qwt_plot_curve.h>
#include <qwt_series_data.h>
#include <qwt_text.h>
#include <qwt_widget_overlay.h>

#include <functional>
#include <utility>

namespace {

constexpr double cursorDistance = 5.0; // pixels from the cursor up to the box

/// Index of the first sample after x, -1 if there is none.
int upperIndex(const QwtSeriesData<QPointF>& samples, double x)
{
    const int size = static_cast<int>(samples.size());
    if (size == 0 || !(x < samples.sample(static_cast<std::size_t>(size - 1)).x())) {
        return -1;
    }
    int first = 0;
    int count = size;
    while (count > 0) {
        const int half = count / 2;
        const int middle = first + half;
        if (x < samples.sample(static_cast<std::size_t>(middle)).x()) {
            count = half;
        } else {
            first = middle + 1;
            count -= half + 1;
        }
    }
    return first;
}

/// Calls a function before each paint of the widget whose events it filters.
class PaintWatch : public QObject
{
public:
    PaintWatch(QObject* parent, std::function<void()> function)
        : QObject(parent), beforePaint(std::move(function))
    {}

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            beforePaint();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> beforePaint;
};

} // namespace

CurveTracker::CurveTracker(QWidget* canvas) : QwtPlotPicker(canvas)
{
    setTrackerMode(QwtPicker::AlwaysOn);
    setRubberBand(QwtPicker::VLineRubberBand);
    setStateMachine(new QwtPickerDragPointMachine);

    // Qwt fits the box to its text only when the mouse moves. A replot under a resting mouse would
    // paint another text into the box of the previous one. The box is set again only if its size
    // differs, because that repaints the canvas and so calls this function again.
    canvas->installEventFilter(new PaintWatch(this, [this] {
        const QwtWidgetOverlay* const box = trackerOverlay();
        const QRegion shown = box != nullptr ? box->mask() : QRegion();
        if (shown != trackerRect(box != nullptr ? box->font() : trackerFont())) {
            updateDisplay();
        }
    }));
}

QLineF CurveTracker::curveLineAt(const QwtPlotCurve* curve, double x) const
{
    const QwtSeriesData<QPointF>& samples = *curve->data();
    const int size = static_cast<int>(samples.size());
    if (size < 2) {
        return {};
    }
    const QRectF bounds = curve->boundingRect();
    if (bounds.width() <= 0.0 || x < bounds.left() || x > bounds.right()) {
        return {};
    }
    int index = upperIndex(samples, x);
    if (index == -1 && samples.sample(static_cast<std::size_t>(size - 1)).x() == x) {
        index = size - 1;
    }
    if (index <= 0) {
        return {};
    }
    return QLineF(samples.sample(static_cast<std::size_t>(index - 1)),
                  samples.sample(static_cast<std::size_t>(index)));
}

QString CurveTracker::curveInfoAt(const QwtPlotCurve* curve, const QPointF& position) const
{
    const QLineF line = curveLineAt(curve, position.x());
    if (line.isNull()) {
        return {};
    }
    const double y =
        line.y1() + (position.x() - line.x1()) / (line.x2() - line.x1()) * (line.y2() - line.y1());
    return QStringLiteral("<font color=%1>%3</font>")
        .arg(curve->pen().color().name())
        .arg(y, 5, 'f', 3, QLatin1Char(' '));
}

QwtText CurveTracker::trackerTextF(const QPointF& position) const
{
    const QColor boxColour("#FFFFFF");
    QColor fillColour = boxColour;
    fillColour.setAlpha(200);

    QwtText text(QString(), QwtText::PlainText);
    text.setRenderFlags(Qt::AlignLeft);
    text.setColor(Qt::black);
    text.setBorderPen(QPen(QBrush(boxColour), 2.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    text.setBackgroundBrush(QBrush(fillColour));

    QString info;
    const QwtPlotItemList curves = plot()->itemList(QwtPlotItem::Rtti_PlotCurve);
    for (const QwtPlotItem* item : curves) {
        if (!item->isVisible()) {
            continue;
        }
        const QString line = curveInfoAt(static_cast<const QwtPlotCurve*>(item), position);
        if (!line.isEmpty()) {
            if (!info.isEmpty()) {
                info += QLatin1String("<br>");
            }
            info += line;
        }
    }
    text.setText(info);
    return text;
}

QRect CurveTracker::trackerRect(const QFont& font) const
{
    QRect rect = QwtPicker::trackerRect(font);
    if (rect.isEmpty()) {
        return rect; // no box: the samples need not be searched
    }

    const QwtPlotItemList curves = plot()->itemList(QwtPlotItem::Rtti_PlotCurve);
    for (const QwtPlotItem* item : curves) {
        if (!item->isVisible()) {
            continue;
        }
        const QPointF position = invTransform(trackerPosition());
        if (!curveLineAt(static_cast<const QwtPlotCurve*>(item), position.x()).isNull()) {
            const double bottom = transform(position).y() - cursorDistance;
            rect.moveBottom(static_cast<int>(qMax(bottom, static_cast<double>(rect.height()))));
        }
        break;
    }
    return rect;
}
