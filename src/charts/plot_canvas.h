/// @file
/// The canvas of the time chart.
#pragma once

#include <QStyle>

#include <qwt_plot_canvas.h>

#include <optional>

/// The canvas of a plot whose items cover all of it with opaque colours.
///
/// With its backing store, QwtPlotCanvas paints each replot into a new pixmap, fills that before,
/// and copies it to the window. This canvas paints the first picture after a replot into the window
/// itself. The backing store is filled when the same picture is painted once more, as under a
/// tracker that follows the mouse.
///
/// The picture is the same. Each picture comes from the store where a pixel of the canvas is not a
/// whole number of the device's pixels, on a screen with a smaller scale factor than another one
/// (the store has the pixels of the largest one), and for a canvas with a frame, round corners or a
/// focus mark.
///
/// For the interface thread.
class PlotCanvas : public QwtPlotCanvas
{
    Q_OBJECT

public:
    explicit PlotCanvas(QwtPlot* plot = nullptr);

public slots:
    /// Called by QwtPlot::replot() by its name.
    void replot();

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    /// What the border of a canvas without a frame depends on, beside its style.
    struct Look
    {
        double borderRadius;
        QStyle::State state;

        friend bool operator==(const Look& a, const Look& b)
        {
            return a.borderRadius == b.borderRadius && a.state == b.state;
        }
    };

    bool canPaintIntoTheWindow();
    bool hasBorder();

    bool m_isNew = false;       // not painted since the last replot
    std::optional<Look> m_look; // m_hasBorder is that of this look
    bool m_hasBorder = false;
};
