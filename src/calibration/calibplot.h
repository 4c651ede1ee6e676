/// @file
/// A scatter plot of magnetometer samples with an ellipse for each plane.
#pragma once

#include <qwt_plot.h>

#include <memory>
#include <vector>

class QwtPlotCanvas;
class QwtPlotGrid;
class QwtPlotShapeItem;

/// Interface thread only. Curves are attached from outside.
class CalibPlot : public QwtPlot
{
public:
    enum _plane { PLANE_XY = 0, PLANE_XZ = 1, PLANE_YZ = 2 };

    explicit CalibPlot(QWidget* parent = nullptr);
    ~CalibPlot() override;

    /// Puts the plane's ellipse into the rectangle at (x, y), in the plot's coordinates, in place
    /// of the former one. A rectangle of no width or height gives a flat ellipse.
    void setFitEllipse(CalibPlot::_plane plane, float x, float y, float width, float height);

    /// The colour of a plane's points and ellipse, translucent.
    static QColor planeColor(CalibPlot::_plane plane);

    /// Holds back the automatic replot of some plots while several of their items change, and
    /// replots each once at its end. Holds may nest: the outermost one replots.
    class ReplotHold
    {
    public:
        template <typename Plots>
        explicit ReplotHold(const Plots& plots)
        {
            for (CalibPlot* const plot : plots)
                if (plot->autoReplot()) {
                    plot->setAutoReplot(false);
                    m_held.push_back(plot);
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

    // Canvas and grid belong to these pointers and to the plot. The members go before the base, and
    // a canvas or grid that goes takes itself out of its plot: nothing is deleted twice.
    std::shared_ptr<QwtPlotCanvas> canvas;
    std::shared_ptr<QwtPlotGrid> grid;
    std::vector<QwtPlotShapeItem*> fitEllipses; // by _plane; owned by the plot
};
