#pragma once

#include <QListView>

#include <optional>

class ListModel;

// The view of one list control. The rows and their selection live in the
// ListModel; this view mirrors both ways and honours the model's redraw,
// enabled and visible flags.
class ListView : public QListView {
    Q_OBJECT
public:
    explicit ListView(ListModel* model, QWidget* parent = nullptr);
    ListModel* list() const { return model_; }
    // Rows of this list can be dragged away as their text.
    void setDragSource(bool on);
    // This list takes dragged rows of other lists: textDropped follows.
    void setDropTarget(bool on);
    // Ctrl+A goes to the key handlers only, which decide (they refuse while
    // the program is busy); the view itself selects nothing then.
    void setSelectAllByLogic(bool on) { selectAllByLogic_ = on; }

signals:
    void rowDoubleClicked(int row);
    void keyDown(int key, Qt::KeyboardModifiers modifiers);
    // The same key once the list has handled it (moved its current row).
    void keyHandled(int key);
    void rightClicked(int row);
    void textDropped(const QString& text);
    // A drag of the current row's text begins (either mouse button).
    void dragStarting();

protected:
    void keyPressEvent(QKeyEvent* e) override;
    void mousePressEvent(QMouseEvent* e) override;
    void dragEnterEvent(QDragEnterEvent* e) override;
    void dragMoveEvent(QDragMoveEvent* e) override;
    void dropEvent(QDropEvent* e) override;
    void mouseMoveEvent(QMouseEvent* e) override;
    void startDrag(Qt::DropActions actions) override;

private:
    void pushSelectionToModel();
    void pullSelectionFromModel();
    void queuePull();
    void followFlags();

    ListModel* model_;
    bool syncing_ = false;
    bool pullQueued_ = false;
    bool dropTarget_ = false;
    bool selectAllByLogic_ = false;
    // Where the right button went down on a drag source; Qt drags only with the left.
    std::optional<QPoint> rightPressAt_;
    int structureChanges_ = 0;
};
