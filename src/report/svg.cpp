#include "report/svg.h"

#include <QBuffer>
#include <QRegularExpression>
#include <QSvgGenerator>

#include <qwt_plot.h>
#include <qwt_plot_renderer.h>

namespace report {

QByteArray svgOf(QwtPlot& plot, const QString& prefix, const QString& label)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    {
        QSvgGenerator generator;
        generator.setOutputDevice(&buffer);
        generator.setSize(plot.size());
        generator.setViewBox(plot.rect());
        generator.setResolution(plot.logicalDpiX());
        QwtPlotRenderer renderer;
        renderer.setDiscardFlag(QwtPlotRenderer::DiscardBackground);
        renderer.setLayoutFlag(QwtPlotRenderer::FrameWithScales);
        renderer.renderTo(&plot, generator);
    }
    QString text = QString::fromUtf8(buffer.data());
    // The generator writes declaration, size, title and description before the content.
    const int open = text.indexOf(QLatin1String("<svg"));
    const int content = text.indexOf(QLatin1String("<defs>"), open);
    text = text.mid(content);
    static const QRegularExpression font(QStringLiteral("font-family=\"[^\"]*\"\\s?"));
    text.remove(font);
    static const QRegularExpression space(QStringLiteral("xml:space=\"preserve\"\\s?"));
    text.remove(space);
    static const QRegularExpression name(QStringLiteral("((?:^|\\s)id=\"|url\\(#|href=\"#)"));
    text.replace(name, "\\1" + prefix + "-");
    const QString box = QString::number(plot.width()) + " " + QString::number(plot.height());
    const QString begin = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + box +
                          "\" role=\"img\" aria-label=\"" + label.toHtmlEscaped() + "\">\n";
    return (begin + text).toUtf8();
}

} // namespace report
