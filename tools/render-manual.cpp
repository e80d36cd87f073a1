// Renders a Markdown document as a PDF for printing and for the screen: render-manual MANUAL.md MANUAL.pdf. Runs
// without a screen; pictures are looked up beside the document.
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QUrl>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtGui/QPdfWriter>
#include <QtGui/QTextBlock>
#include <QtGui/QTextCursor>
#include <QtGui/QTextDocument>
#include <QtGui/QTextTable>
#include <algorithm>
#include <cstdio>

namespace {

constexpr qreal kTextWidth = 620;     // points of a document's line on a page of A4
constexpr qreal kPictureScale = 0.55; // of a window of the screen, as long as it fits the line

/// Thin lines and some air: Markdown says nothing of a table's looks.
void styleTables(QTextDocument& document) {
  for (QTextFrame* const frame : document.rootFrame()->childFrames()) {
    auto* const table = qobject_cast<QTextTable*>(frame);
    if (table == nullptr) continue;
    QTextTableFormat format = table->format();
    format.setBorder(1);
    format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
    format.setBorderBrush(Qt::lightGray);
    format.setBorderCollapse(true);
    format.setHeaderRowCount(1);
    format.setCellPadding(3);
    format.setTopMargin(6);
    format.setBottomMargin(10);
    table->setFormat(format);
  }
}

/// Pictures of windows are wider than a page.
void fitPictures(QTextDocument& document, const QString& folder) {
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
    for (auto piece = block.begin(); !piece.atEnd(); ++piece) {
      const QTextFragment fragment = piece.fragment();
      if (!fragment.charFormat().isImageFormat()) continue;
      QTextImageFormat picture = fragment.charFormat().toImageFormat();
      picture.setName(folder + QLatin1Char('/') + picture.name());
      picture.setWidth(std::min(kTextWidth, QImage(picture.name()).width() * kPictureScale));
      QTextCursor cursor(&document);
      cursor.setPosition(fragment.position());
      cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
      cursor.setCharFormat(picture);
      break; // the block's pieces are other ones now; a picture stands in one of its own
    }
  }
}

/// A rule in the document begins a new page.
void breakPagesAtRules(QTextDocument& document) {
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
    if (!block.blockFormat().hasProperty(QTextFormat::BlockTrailingHorizontalRulerWidth)) continue;
    QTextBlockFormat format = block.next().blockFormat();
    format.setPageBreakPolicy(QTextFormat::PageBreak_AlwaysBefore);
    QTextCursor(block.next()).setBlockFormat(format);
    format = block.blockFormat();
    format.clearProperty(QTextFormat::BlockTrailingHorizontalRulerWidth);
    QTextCursor(block).setBlockFormat(format);
  }
}

/// A line of text and more room above a heading than below it.
void styleText(QTextDocument& document) {
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
    QTextBlockFormat format = block.blockFormat();
    const int level = format.headingLevel();
    if (level > 0) format.setTopMargin(level == 1 ? 0 : 18);
    format.setBottomMargin(level > 0 ? 6 : format.bottomMargin());
    const bool has_picture = block.text().contains(QChar::ObjectReplacementCharacter);
    format.setLineHeight(has_picture ? 100 : 118, QTextBlockFormat::ProportionalHeight);
    QTextCursor(block).setBlockFormat(format);
  }
  breakPagesAtRules(document);
}

} // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QGuiApplication application(argc, argv);
  if (argc != 3) return std::fputs("usage: render-manual MANUAL.md MANUAL.pdf\n", stderr), 2;
  QFile source(QFile::decodeName(argv[1]));
  if (!source.open(QIODevice::ReadOnly)) return std::fprintf(stderr, "%s cannot be read\n", argv[1]), 1;
  QTextDocument document;
  document.setDefaultFont(QFont("DejaVu Sans", 10));
  document.setMarkdown(QString::fromUtf8(source.readAll()));
  fitPictures(document, QFileInfo(source).absolutePath());
  styleTables(document);
  styleText(document);

  QFile target(QFile::decodeName(argv[2]));
  if (!target.open(QIODevice::WriteOnly)) return std::fprintf(stderr, "%s cannot be written\n", argv[2]), 1;
  QPdfWriter writer(&target);
  writer.setTitle("Vurl Recorder Manual");
  writer.setCreator("Vurl Recorder");
  writer.setPageSize(QPageSize(QPageSize::A4));
  document.print(&writer); // with margins and page numbers of its own
  return target.error() == QFileDevice::NoError && target.flush() ? 0 : 1;
}
