#include "Orvel/screens/ChatGPTConsultationView.h"

#include "Orvel/platform/qt/QtText.h"
#include "Orvel/screens/ArchiveListModel.h"
#include "Orvel/screens/DeliverySteps.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLocale>
#include <QShortcut>
#include <QUrl>
#include <QVBoxLayout>

namespace orvel {

namespace {

constexpr int margin = 16, reportHeight = 96, questionHeight = 76, listHeight = 96;

QString bytesText(std::uint64_t bytes) {
    return QLocale().formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeTraditionalFormat);
}

QLabel* faintLabel() {
    auto* label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QFrame* card(QLayout* inside) {
    auto* frame = new QFrame;
    frame->setObjectName(QStringLiteral("panel"));
    frame->setLayout(inside);
    return frame;
}

QPushButton* button(const QString& text, std::function<void()> action) {
    auto* made = new QPushButton(text);
    made->setAutoDefault(false);
    QObject::connect(made, &QPushButton::clicked, made, std::move(action));
    return made;
}

QString progressText(const ArchiveProgress& progress) {
    using Phase = ArchiveProgress::Phase;
    switch (progress.phase) {
    case Phase::listing:
        return ChatGPTConsultationView::tr("Listing files… %n so far", nullptr, int(progress.paths));
    case Phase::copying:
        return ChatGPTConsultationView::tr("%1 of %2 files, %3")
            .arg(progress.files)
            .arg(progress.paths)
            .arg(bytesText(progress.bytes));
    case Phase::zipping: return ChatGPTConsultationView::tr("Making the ZIP…");
    case Phase::checking: return ChatGPTConsultationView::tr("Checking the ZIP…");
    }
    return {};
}

// The number of steps that are done, and of those that were begun.
std::size_t stepsDone(ConsultationStage stage) {
    return static_cast<std::size_t>(stage);
}

} // namespace

ChatGPTConsultationView::ChatGPTConsultationView(ChatGPTConsultationModel& model, ChangeSignal& changes,
                                                 QWidget* parent)
    : QDialog(parent),
      model(model),
      status(new QLabel),
      folder(new QLabel),
      size(faintLabel()),
      time(faintLabel()),
      why(faintLabel()),
      report(new QPlainTextEdit),
      question(new QPlainTextEdit),
      share(new QProgressBar),
      search(new QLineEdit),
      goesIn{new ArchiveListModel(this), faintLabel(), new QTreeView},
      leftOut{new ArchiveListModel(this), faintLabel(), new QTreeView},
      steps(new DeliverySteps({tr("Packed"), tr("Attached"), tr("Question written"), tr("Sent"),
                               tr("Seen in the conversation")})) {
    setObjectName(QStringLiteral("consultation"));
    setWindowTitle(tr("Ask ChatGPT about a repository"));
    auto* title = new QLabel(windowTitle());
    auto large = title->font();
    large.setPointSizeF(large.pointSizeF() * 1.25);
    large.setBold(true);
    title->setFont(large);
    status->setTextFormat(Qt::PlainText);
    status->setWordWrap(true);
    status->setAccessibleName(tr("Status"));
    status->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    report->setObjectName(QStringLiteral("report"));
    report->setReadOnly(true);
    report->setTabChangesFocus(true);
    report->setMaximumHeight(reportHeight);
    report->setAccessibleName(tr("Report of the delivery, without its content"));
    search->setObjectName(QStringLiteral("search"));
    search->setPlaceholderText(tr("Search what goes in and what is left out"));
    search->setAccessibleName(search->placeholderText());
    search->setClearButtonEnabled(true);
    connect(search, &QLineEdit::textChanged, this, [this](const QString& text) {
        const auto words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (auto* list : {&goesIn, &leftOut}) list->rows->show(words);
        renderCounts();
    });
    question->setObjectName(QStringLiteral("question"));
    question->setAccessibleName(tr("Question"));
    question->setTabChangesFocus(true);
    question->setMinimumHeight(questionHeight);
    question->setMaximumHeight(3 * questionHeight / 2);
    connect(question, &QPlainTextEdit::textChanged, this,
            [this] { this->model.question.update(utf8Text(question->toPlainText())); });

    address = button(tr("Open the conversation"), [this] {
        if (const auto& url = this->model.conversationURL.get())
            QDesktopServices::openUrl(QUrl(qtText(*url)));
    });
    auto* statusRow = new QWidget;
    auto* beside = new QHBoxLayout(statusRow);
    beside->setContentsMargins(0, 0, 0, 0);
    beside->addWidget(status, 1);
    beside->addWidget(address, 0, Qt::AlignTop);
    auto* lists = new QHBoxLayout;
    lists->setSpacing(10);
    lists->addWidget(listFrame(goesIn, tr("Goes in")), 1);
    lists->addWidget(listFrame(leftOut, tr("Left out")), 1);
    auto* questionTitle = faintLabel();
    questionTitle->setText(tr("Question"));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(8);
    for (auto* widget : {static_cast<QWidget*>(title), statusRow, static_cast<QWidget*>(report), folderRow(),
                         static_cast<QWidget*>(search)})
        column->addWidget(widget);
    column->addLayout(lists, 1);
    for (auto* widget :
         {static_cast<QWidget*>(questionTitle), static_cast<QWidget*>(question), stepsRow(), buttonsRow()})
        column->addWidget(widget);
    const auto shortcut = [this](const QKeySequence& keys, QPushButton* pressed) {
        connect(new QShortcut(keys, this), &QShortcut::activated, pressed, &QPushButton::click);
    };
    for (auto* keys : {"Ctrl+Return", "Ctrl+Enter"}) {
        auto* sends = new QShortcut(QKeySequence(QLatin1String(keys)), this);
        sends->setAutoRepeat(false);
        connect(sends, &QShortcut::activated, send, &QPushButton::click);
    }
    shortcut(QKeySequence::Open, choose);
    clock.setInterval(std::chrono::milliseconds(500));
    connect(&clock, &QTimer::timeout, this, &ChatGPTConsultationView::render);
    setMinimumSize(640, 440);
    resize(860, 660);
    subscription = changes.subscribe([this] { renderSoon(); });
}

QWidget* ChatGPTConsultationView::folderRow() {
    folder->setTextFormat(Qt::PlainText);
    folder->setMinimumWidth(0);
    folder->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    folder->setAccessibleName(tr("Folder"));
    share->setObjectName(QStringLiteral("share"));
    share->setTextVisible(false);
    share->setFixedHeight(6);
    share->setMaximumWidth(200);
    share->setAccessibleName(tr("Size against the limit"));
    choose = button({}, [this] {
        if (model.isPreparing)
            model.stopPreparing();
        else
            model.chooseFolder();
    });
    auto* title = faintLabel();
    title->setText(tr("Folder"));
    auto* row = new QHBoxLayout;
    row->setContentsMargins(12, 8, 8, 8);
    row->addWidget(title);
    row->addWidget(folder, 1);
    row->addWidget(size);
    row->addWidget(share);
    row->addWidget(choose);
    return card(row);
}

QWidget* ChatGPTConsultationView::listFrame(List& list, const QString& title) {
    auto* name = new QLabel(title);
    auto bold = name->font();
    bold.setBold(true);
    name->setFont(bold);
    auto& view = *list.view;
    view.setModel(list.rows);
    view.setAccessibleName(title);
    view.setRootIsDecorated(false);
    view.setUniformRowHeights(true);
    view.setHeaderHidden(true);
    view.setFrameShape(QFrame::NoFrame);
    view.setObjectName(QStringLiteral("archive"));
    view.setTextElideMode(Qt::ElideMiddle);
    view.setMinimumHeight(listHeight);
    view.setSelectionMode(QAbstractItemView::SingleSelection);
    view.header()->setStretchLastSection(false);
    view.header()->setSectionResizeMode(0, QHeaderView::Stretch);
    view.header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    view.header()->setResizeContentsPrecision(50);
    auto* head = new QHBoxLayout;
    head->setContentsMargins(10, 6, 10, 0);
    head->addWidget(name);
    head->addWidget(list.count, 1);
    auto* column = new QVBoxLayout;
    column->setContentsMargins(2, 2, 2, 2);
    column->addLayout(head);
    column->addWidget(&view, 1);
    return card(column);
}

QWidget* ChatGPTConsultationView::stepsRow() {
    auto* row = new QHBoxLayout;
    row->setContentsMargins(12, 8, 8, 8);
    row->addWidget(steps);
    row->addStretch(1);
    row->addWidget(time);
    return card(row);
}

QWidget* ChatGPTConsultationView::buttonsRow() {
    auto* closing = button(tr("Close"), [this] { close(); });
    connection = button(tr("Check connection"), [this] { model.checkConnection(); });
    recheck = button(tr("Check delivery again"), [this] { model.recheckReceipt(); });
    send = button(tr("Send"), [this] { model.send(); });
    send->setObjectName(QStringLiteral("primary"));
    send->setToolTip(tr("Ctrl+Return"));
    why->setWordWrap(true);
    auto* widget = new QWidget;
    auto* row = new QHBoxLayout(widget);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(closing);
    row->addWidget(why, 1);
    for (auto* each : {connection, recheck, send}) row->addWidget(each);
    return widget;
}

void ChatGPTConsultationView::open() {
    render();
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
    if (model.archive.get())
        question->setFocus();
    else
        choose->setFocus();
}

void ChatGPTConsultationView::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) renderSoon();
}

// Many fields change in one operation; they are rendered together.
void ChatGPTConsultationView::renderSoon() {
    if (!isVisible() || std::exchange(renderIsDue, true)) return;
    QTimer::singleShot(0, this, &ChatGPTConsultationView::render);
}

void ChatGPTConsultationView::render() {
    renderIsDue = false;
    renderStatus();
    renderFolder();
    renderLists();
    const auto stage = model.stage();
    const bool isOver = !model.isBusy() && stage != ConsultationStage::seen;
    const bool hasBegun = stage > ConsultationStage::packed || model.attemptedSend;
    steps->render(stepsDone(stage), isOver && hasBegun);
    const auto elapsed = model.elapsed();
    time->setText(elapsed ? QStringLiteral("%1:%2")
                                .arg(elapsed->count() / 60)
                                .arg(elapsed->count() % 60, 2, 10, QLatin1Char('0'))
                          : QString());
    address->setVisible(model.conversationURL.get().has_value());
    if (const auto& url = model.conversationURL.get()) address->setToolTip(qtText(*url));
    if (const auto text = qtText(model.question.get()); text != question->toPlainText())
        question->setPlainText(text);
    question->setReadOnly(model.isSending);
    connection->setEnabled(!model.isBusy());
    recheck->setEnabled(model.canRecheckReceipt());
    send->setEnabled(model.canSend());
    why->setText(qtText(model.whyNotSend()));
    if (model.isBusy())
        clock.start();
    else
        clock.stop();
}

void ChatGPTConsultationView::renderStatus() {
    const auto text = qtText(model.status.get());
    const auto end = text.indexOf(QLatin1Char('\n'));
    status->setText(end < 0 ? text : text.left(end));
    const auto rest = end < 0 ? QString() : text.mid(end + 1).trimmed();
    report->setVisible(!rest.isEmpty());
    if (report->toPlainText() != rest) report->setPlainText(rest);
}

void ChatGPTConsultationView::renderFolder() {
    const auto& archive = model.archive.get();
    folder->setText(archive ? qtText(archive->sourceFolder) : QString());
    folder->setToolTip(folder->text());
    choose->setText(model.isPreparing ? tr("Stop") : tr("Choose folder…"));
    choose->setEnabled(model.isPreparing || model.canChooseFolder());
    share->setVisible(archive || model.isPreparing);
    constexpr auto limit = ChatGPTRepositoryArchive::sizeLimit;
    share->setRange(0, static_cast<int>(limit / 1024));
    const auto bytes = archive ? archive->byteCount : model.progress->bytes;
    share->setValue(static_cast<int>(bytes / 1024));
    size->setText(archive             ? tr("%1 of %2").arg(bytesText(bytes), bytesText(limit))
                  : model.isPreparing ? progressText(model.progress)
                                      : QString());
}

void ChatGPTConsultationView::renderLists() {
    if (std::exchange(shownArchive, model.archive.revision()) == model.archive.revision()) return;
    std::vector<ArchiveListModel::Row> in, out;
    if (const auto& archive = model.archive.get()) {
        for (const auto& [path, bytes] : archive->contents->packed)
            in.push_back({qtText(path), bytesText(bytes)});
        for (const auto* left : {&archive->contents->leftOut, &archive->contents->skippedFolders})
            for (const auto& each : *left) out.push_back({qtText(each.path), qtText(describe(each))});
    }
    goesIn.rows->setRows(std::move(in));
    leftOut.rows->setRows(std::move(out));
    renderCounts();
}

void ChatGPTConsultationView::renderCounts() {
    for (const auto* list : {&goesIn, &leftOut}) {
        const auto shown = list->rows->rowCount(), all = static_cast<int>(list->rows->total());
        list->count->setText(!model.archive.get() ? QString()
                             : shown == all       ? tr("%n files", nullptr, all)
                                                  : tr("%1 of %2 files").arg(shown).arg(all));
    }
}

} // namespace orvel
