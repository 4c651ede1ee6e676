/// @file
/// The topics of topicsOf(), and what their plots share: sizes, colours, curves and axes.
#pragma once

#include "report/figures.h"

#include <QColor>
#include <QFont>
#include <QPen>
#include <QPointF>
#include <QString>
#include <QVector>

#include <qwt_plot.h>
#include <qwt_samples.h>
#include <qwt_symbol.h>

#include <memory>
#include <vector>

namespace report {

// One function per topic. A topic has no figures if the recording has no data for them.
Topic timeTopic(const RecordingReport& report);
Topic intervalTopic(const RecordingReport& report);
Topic allanTopic(const RecordingReport& report);
Topic spectrumTopic(const RecordingReport& report);
Topic gravityTopic(const RecordingReport& report);
Topic temperatureTopic(const RecordingReport& report);
Topic magnetometerTopic(const RecordingReport& report);
Topic sixPositionsTopic(const RecordingReport& report);

// Pixels.
constexpr int standardHeight = 300;
constexpr int lowHeight = 210;

// Colours that colour-blind readers can distinguish (M. Okabe, K. Ito, 2008). Colour is never the
// only difference: lines also differ in their dashes, points in their shapes.
constexpr QColor blue(0, 114, 178);
constexpr QColor lightBlue(190, 217, 233);
constexpr QColor vermilion(213, 94, 0);
constexpr QColor green(0, 110, 80);
constexpr QColor purple(160, 80, 130);
constexpr QColor ink(32, 32, 32);

/// The font of the plots, and of the PDF around them.
QFont sansSerif(int pixels);

/// The range of the values that were taken; after widen() its limits differ.
struct Range
{
    double low = 0.0;
    double high = 0.0;
    bool any = false;

    void take(double value);
    void widen();
};

/// The unit for the axis of a duration.
struct TimeUnit
{
    double seconds = 1.0;
    QString title; ///< of an axis
};

/// @param duration seconds
TimeUnit timeUnit(double duration);

/// A sensor that the recording has, with the texts of inertialSensors.
struct Sensor
{
    const InertialReport& report;
    QString id;
    QString name;
    QString unit;
    QString walkUnit;
};

std::vector<Sensor> sensorsOf(const RecordingReport& report);

/// An empty plot with axes and grid.
std::unique_ptr<QwtPlot> makePlot(const QString& xTitle, const QString& yTitle, int plotHeight);

/// An envelope over time, minus the value `less`.
std::unique_ptr<QwtPlot> timePlot(const RecordingReport& report, const Envelope& envelope,
                                  const QString& yTitle, double less, int plotHeight);

// Each adds an item, which the plot owns. An item with an empty name is not in the legend.
void addLegend(QwtPlot& plot);
void addLine(QwtPlot& plot, const QString& name, const QVector<QPointF>& points, const QPen& pen);
void addDots(QwtPlot& plot, const QString& name, const QVector<QPointF>& points,
             const QColor& colour, QwtSymbol::Style shape);
void addBand(QwtPlot& plot, const QString& name, const QVector<QwtIntervalSample>& samples,
             const QColor& fill, const QPen& edge);
/// Shades a range of the x axis.
void addZone(QwtPlot& plot, double from, double to, const QColor& colour);

/// @param margin share of the range that is added at both ends
void setRange(QwtPlot& plot, int axis, Range range, double margin = 0.04);

/// Adds the plot to the topic.
void addFigure(Topic& topic, const QString& id, const QString& caption,
               std::unique_ptr<QwtPlot> plot);

} // namespace report
