#include "shell/list_view_widget.h"

#include "shell/list_model.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QTimer>

ListView::ListView(ListModel* model, QWidget* parent) : QListView(parent), model_(model) {
    setModel(model);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setUniformItemSizes(true); // keeps a million rows cheap to lay out
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setIconSize(QSize(16, 16));

    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { pushSelectionToModel(); });
    connect(selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& cur) {
                if (!syncing_) model_->setListIndex(cur.isValid() ? cur.row() : -1);
            });
    // Changes made by the logic arrive in bursts; one pull per burst is enough.
    connect(model, &ListModel::selectionChanged, this, [this] {
        if (!syncing_) queuePull();
    });
    // While rows come and go the view's selection is shifted by Qt and can be
    // briefly wrong; the rows carry their own flags, so the view follows them
    // afterwards instead of writing back half-updated state.
    auto hold = [this] { ++structureChanges_; };
    auto release = [this] {
        --structureChanges_;
        queuePull();
    };
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, hold);
    connect(model, &QAbstractItemModel::rowsRemoved, this, release);
    connect(model, &QAbstractItemModel::rowsAboutToBeInserted, this, hold);
    connect(model, &QAbstractItemModel::rowsInserted, this, release);
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, hold);
    connect(model, &QAbstractItemModel::modelReset, this, release);
    connect(model, &ListModel::currentChanged, this, [this](int row) {
        if (syncing_) return;
        syncing_ = true;
        selectionModel()->setCurrentIndex(row >= 0 ? model_->index(row) : QModelIndex(),
                                          QItemSelectionModel::NoUpdate);
        if (row >= 0) scrollTo(model_->index(row));
        syncing_ = false;
    });
    connect(model, &ListModel::flagsChanged, this, [this] { followFlags(); });
    connect(this, &QListView::doubleClicked, this,
            [this](const QModelIndex& i) { emit rowDoubleClicked(i.row()); });
    followFlags();
}

void ListView::setDragSource(bool on) {
    setDragEnabled(on);
    setDragDropMode(on ? QAbstractItemView::DragOnly : QAbstractItemView::NoDragDrop);
    setDefaultDropAction(Qt::CopyAction);
}

void ListView::setDropTarget(bool on) {
    dropTarget_ = on;
    setAcceptDrops(on);
    viewport()->setAcceptDrops(on);
    setDropIndicatorShown(false);
}

void ListView::dragEnterEvent(QDragEnterEvent* e) {
    if (dropTarget_ && e->source() != this &&
        e->mimeData()->hasFormat(QLatin1String(ListModel::kRowMimeType)))
        e->acceptProposedAction();
    else
        e->ignore();
}

void ListView::dragMoveEvent(QDragMoveEvent* e) {
    if (dropTarget_ && e->source() != this &&
        e->mimeData()->hasFormat(QLatin1String(ListModel::kRowMimeType)))
        e->acceptProposedAction();
    else
        e->ignore();
}

void ListView::dropEvent(QDropEvent* e) {
    if (!dropTarget_ || e->source() == this) {
        e->ignore();
        return;
    }
    const QByteArray data = e->mimeData()->data(QLatin1String(ListModel::kRowMimeType));
    e->acceptProposedAction();
    emit textDropped(QString::fromUtf8(data));
}

void ListView::keyPressEvent(QKeyEvent* e) {
    const int key = e->key();
    emit keyDown(key, e->modifiers());
    const bool leftToLogic = selectAllByLogic_ && e->matches(QKeySequence::SelectAll);
    if (e->isAccepted() && !leftToLogic) QListView::keyPressEvent(e);
    emit keyHandled(key);
}

void ListView::mousePressEvent(QMouseEvent* e) {
    if (e->button() == Qt::RightButton) {
        const QModelIndex i = indexAt(e->position().toPoint());
        rightPressAt_.reset();
        if (dragEnabled() && model_->count() > 0) rightPressAt_ = e->position().toPoint();
        emit rightClicked(i.isValid() ? i.row() : -1);
        return;
    }
    rightPressAt_.reset();
    QListView::mousePressEvent(e);
}

void ListView::mouseMoveEvent(QMouseEvent* e) {
    if (rightPressAt_ && (e->buttons() & Qt::RightButton)) {
        if ((e->position().toPoint() - *rightPressAt_).manhattanLength() >=
            QApplication::startDragDistance()) {
            rightPressAt_.reset();
            startDrag(Qt::CopyAction);
        }
        return;
    }
    rightPressAt_.reset();
    QListView::mouseMoveEvent(e);
}

void ListView::startDrag(Qt::DropActions) {
    emit dragStarting();
    // The carried text is the current row's, whatever is selected.
    QMimeData* data = model_->mimeData({});
    if (!data) return;
    auto* drag = new QDrag(this);
    drag->setMimeData(data);
    drag->exec(Qt::CopyAction, Qt::CopyAction);
}

void ListView::queuePull() {
    if (pullQueued_) return;
    pullQueued_ = true;
    QTimer::singleShot(0, this, [this] {
        pullQueued_ = false;
        pullSelectionFromModel();
    });
}

void ListView::pushSelectionToModel() {
    if (syncing_ || structureChanges_ > 0) return;
    syncing_ = true;
    const QItemSelectionModel* sm = selectionModel();
    for (int i = 0; i < model_->count(); ++i)
        model_->setSelected(i, sm->isRowSelected(i, QModelIndex()));
    syncing_ = false;
}

void ListView::pullSelectionFromModel() {
    syncing_ = true;
    QItemSelection sel;
    int start = -1;
    const int n = model_->count();
    for (int i = 0; i <= n; ++i) {
        const bool on = i < n && model_->selected(i);
        if (on && start < 0) start = i;
        if (!on && start >= 0) {
            sel.select(model_->index(start), model_->index(i - 1));
            start = -1;
        }
    }
    selectionModel()->select(sel, QItemSelectionModel::ClearAndSelect);
    syncing_ = false;
}

void ListView::followFlags() {
    setEnabled(model_->enabled());
    setUpdatesEnabled(model_->redraw());
}
