/// @file
/// A scatter plot of magnetometer samples with an ellipse for each plane.
#pragma once

#include <qwt_plot.h>

#include <memory>
#include <vector>

class QwtPlotCanvas;
class QwtPlotGrid;
class QwtPlotShapeItem;

/// Interface thread only. The user of the plot attaches the curves.
class CalibPlot : public QwtPlot
{
public:
    enum _plane { PLANE_XY = 0, PLANE_XZ = 1, PLANE_YZ = 2 };

    explicit CalibPlot(QWidget* parent = nullptr);
    ~CalibPlot() override;

    /// Sets the plane's ellipse to fill the rectangle at (x, y), in the plot's coordinates. With a
    /// width or height of 0 the ellipse is flat.
    void setFitEllipse(CalibPlot::_plane plane, float x, float y, float width, float height);

    /// The colour of a plane's points and ellipse, translucent.
    static QColor planeColour(CalibPlot::_plane plane);

    /// Suspends the automatic replot of some plots while several of their items change, and replots
    /// each once at its end. Holds may be nested: the outermost one replots.
    class ReplotHold
    {
    public:
        template <typename Plots>
        explicit ReplotHold(const Plots& plots)
        {
            for (CalibPlot* const plot : plots) {
                if (plot->autoReplot()) {
                    plot->setAutoReplot(false);
                    m_held.push_back(plot);
                }
            }
        }
        ~ReplotHold();
        ReplotHold(const ReplotHold&) = delete;
        ReplotHold& operator=(const ReplotHold&) = delete;

    private:
        std::vector<CalibPlot*> m_held;
    };

private:
    friend struct CalibPlotProbe; // the tests' access

    // These pointers and the plot both own canvas and grid. Members are destroyed before the base,
    // and a canvas or grid removes itself from its plot when it is destroyed: nothing is deleted
    // twice.
    std::shared_ptr<QwtPlotCanvas> canvas;
    std::shared_ptr<QwtPlotGrid> grid;
    std::vector<QwtPlotShapeItem*> fitEllipses; // by _plane; owned by the plot
};
