#include "report/pdf_file.h"

#include "report/figure_rows.h"
#include "report/figures_parts.h"
#include "report/page.h"

#include <QBuffer>
#include <QMarginsF>
#include <QPainter>
#include <QPdfWriter>
#include <QTextDocument>

#include <qwt_plot.h>
#include <qwt_plot_renderer.h>

#include <algorithm>
#include <cmath>

namespace report {

namespace {

constexpr int dotsPerInch = 96; // the same as in the plots, so that fonts keep their sizes
constexpr double marginMillimetres = 15.0;
constexpr double gap = 12.0; // dots, between plots
/// Of the text: 9 points.
constexpr int textPixels = 12;
constexpr int captionPixels = 11;

/// Pages that are filled from the top down.
class Pages
{
public:
    explicit Pages(QBuffer& buffer) : m_writer(&buffer)
    {
        m_writer.setPageSize(QPageSize(QPageSize::A4));
        m_writer.setPageMargins(
            QMarginsF(marginMillimetres, marginMillimetres, marginMillimetres, marginMillimetres),
            QPageLayout::Millimeter);
        m_writer.setResolution(dotsPerInch);
        m_writer.setTitle(QStringLiteral("Sensor report"));
        m_writer.setCreator(QStringLiteral("gravimon-log"));
        m_painter.begin(&m_writer);
        m_width = m_writer.width();
        m_height = m_writer.height();
    }

    double width() const { return m_width; }

    void newPage()
    {
        m_writer.newPage();
        m_top = 0.0;
    }

    /// Adds text on as many pages as it needs. It starts on a new page.
    void addText(const QString& html)
    {
        if (m_top > 0.0) {
            newPage();
        }
        QTextDocument document;
        document.setDocumentMargin(0.0);
        document.setDefaultFont(sansSerif(textPixels));
        document.documentLayout(); // creates the layout that uses the size below
        document.setDefaultStyleSheet(QStringLiteral(
            "h1 { font-size: 20px; } h2 { font-size: 15px; } .failed { color: #a30000; } "
            ".warned { color: #7a4300; } .passed { color: #00563b; } .warning { color: #7a4300; "
            "font-weight: bold; } th { background-color: #f2f2f2; } dt { font-weight: bold; }"));
        document.setHtml(html);
        document.setPageSize(QSizeF(m_width, m_height));
        const int pages = document.pageCount();
        for (int page = 0; page < pages; ++page) {
            if (page > 0) {
                m_writer.newPage();
            }
            m_painter.save();
            m_painter.translate(0.0, -page * m_height);
            document.drawContents(&m_painter, QRectF(0.0, page * m_height, m_width, m_height));
            m_painter.restore();
        }
        m_top = m_height; // the next content starts a new page
    }

    void addHeading(const QString& text, double roomBelow)
    {
        constexpr double lines = 30.0;
        if (m_top + lines + roomBelow > m_height) {
            newPage();
        }
        QFont heading = sansSerif(15);
        heading.setBold(true);
        m_painter.setFont(heading);
        m_painter.setPen(Qt::black);
        m_painter.drawText(QRectF(0.0, m_top, m_width, lines), Qt::AlignLeft | Qt::AlignVCenter,
                           text);
        m_top += lines;
    }

    /// Height of a row of two plots with their captions.
    double rowHeight(const FigureRow& row) const
    {
        double height = 0.0;
        for (const Figure* const figure : row) {
            height = figure == nullptr
                         ? height
                         : std::max(height, plotHeight(*figure) + captionHeight(*figure));
        }
        return height + gap;
    }

    void addRow(const FigureRow& row)
    {
        const double height = rowHeight(row);
        if (m_top + height > m_height) {
            newPage();
        }
        double left = 0.0;
        for (Figure* const figure : row) {
            if (figure != nullptr) {
                const double plot = plotHeight(*figure);
                m_painter.save();
                m_painter.translate(left, m_top);
                const double scale = column() / figure->plot->width();
                m_painter.scale(scale, scale);
                QwtPlotRenderer renderer;
                renderer.setDiscardFlag(QwtPlotRenderer::DiscardBackground);
                renderer.setLayoutFlag(QwtPlotRenderer::FrameWithScales);
                renderer.render(figure->plot.get(), &m_painter,
                                QRectF(0.0, 0.0, figure->plot->width(), figure->plot->height()));
                m_painter.restore();
                m_painter.setFont(sansSerif(captionPixels));
                m_painter.setPen(Qt::black);
                m_painter.drawText(QRectF(left, m_top + plot, column(), captionHeight(*figure)),
                                   Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap,
                                   figure->caption);
            }
            left += column() + gap;
        }
        m_top += height;
    }

    void end() { m_painter.end(); }

private:
    double column() const { return (m_width - gap) / 2.0; }
    double plotHeight(const Figure& figure) const
    {
        return figure.plot->height() * column() / figure.plot->width();
    }
    double captionHeight(const Figure& figure) const
    {
        const QFontMetricsF metrics(sansSerif(captionPixels), const_cast<QPdfWriter*>(&m_writer));
        return metrics
            .boundingRect(QRectF(0.0, 0.0, column(), m_height),
                          Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, figure.caption)
            .height();
    }

    QPdfWriter m_writer;
    QPainter m_painter;
    double m_width = 0.0;
    double m_height = 0.0;
    double m_top = 0.0;
};

} // namespace

QByteArray pdfOf(const std::vector<RecordingReport>& reports,
                 std::vector<std::vector<Topic>>& topics)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    {
        Pages pages(buffer);
        QString html = warningsHtml(reports) + "<h1>Sensor report</h1>";
        for (std::size_t i = 0; i < reports.size(); ++i) {
            html += "<p>" + (reports.size() > 1 ? QString::number(i + 1) + ": " : QString()) +
                    nameOfRecording(reports[i]).toHtmlEscaped() + "</p>";
        }
        pages.addText(html + "<h2>Verdicts</h2>" + verdictsHtml(reports));
        pages.addText("<h2>Numbers</h2>" + numbersHtml(reports));
        for (std::size_t topic = 0; topic < topics.front().size(); ++topic) {
            const auto rows = figureRows(topics, topic);
            if (rows.empty()) {
                continue;
            }
            pages.addHeading(topics.front()[topic].title, pages.rowHeight(rows.front()));
            for (const FigureRow& row : rows) {
                pages.addRow(row);
            }
        }
        pages.addText("<h2>Definitions</h2>" + definitionsHtml());
        pages.end();
    }
    return buffer.data();
}

} // namespace report
