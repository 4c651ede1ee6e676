/// @file
/// The background of the time chart.
#pragma once

#include <qwt_plot_item.h>

/// Fills a plot's canvas with one dark colour, below the grid and the curves.
///
/// Deleted by the plot that it is attached to. For the interface thread.
class Background : public QwtPlotItem
{
public:
    Background();

    /// QwtPlotItem::Rtti_PlotUserItem.
    int rtti() const override;

    void draw(QPainter* painter, const QwtScaleMap& xMap, const QwtScaleMap& yMap,
              const QRectF& canvasRect) const override;
};
