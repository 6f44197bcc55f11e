#pragma once

#include <QListView>

class ListModel;

// The view of one list control. The rows and their selection live in the
// ListModel; this view mirrors both ways and honours the model's redraw,
// enabled and visible flags.
class ListView : public QListView {
    Q_OBJECT
public:
    explicit ListView(ListModel* model, QWidget* parent = nullptr);
    ListModel* list() const { return model_; }

signals:
    void rowDoubleClicked(int row);
    void keyDown(int key, Qt::KeyboardModifiers modifiers);
    void rightClicked(int row);

protected:
    void keyPressEvent(QKeyEvent* e) override;
    void mousePressEvent(QMouseEvent* e) override;

private:
    void pushSelectionToModel();
    void pullSelectionFromModel();
    void followFlags();

    ListModel* model_;
    bool syncing_ = false;
    bool pullQueued_ = false;
};
