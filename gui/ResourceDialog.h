// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDialog>
#include <QStringList>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

class QListWidgetItem;

namespace Ui
{
class ResourceDialog;
}

namespace gui
{

/// Lists the resources that VISA finds and lets the user pick one. The list comes from a cache of the process. The
/// dialog itself searches only on "Refresh".
class ResourceDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ResourceDialog(QWidget* parent);
    ~ResourceDialog() override;

    /// Searches, and replaces the cache by the sorted result. Skips entries that fail, and reports no error. Any thread
    /// may call. A second caller waits for the first and then searches again.
    static void updateResourceList();

    /// Fills the list from the cache, after a new search if `update` is true. Waits for a running search.
    void refreshList(bool update);

    /// Returns the selected resource string, or an empty one.
    [[nodiscard]] QString getResource() const;

public slots:
    /// Searches again.
    void refreshList();
    /// Accepts the dialog if an item is selected.
    void itemDoubleClicked(QListWidgetItem* item);

protected:
    /// Makes the first arrow key select the current item.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void setupUi();
    void setupConnections();
    void restoreWindowSettings();
    void saveWindowSettings() const;
    /// Returns whether the list shows the last search. False while a search runs.
    [[nodiscard]] bool listIsCurrent() const;
    /// Adds the cache to the list. The caller must hold s_resourceListMutex.
    void fillList();

    static QStringList s_resources;        ///< what the last search found
    static std::uint64_t s_searchCount;    ///< the searches of the process so far
    static std::mutex s_resourceListMutex; ///< guards both; locked during a whole search
    static std::atomic<bool> s_resourceListUpdateInProcess;

    const std::unique_ptr<Ui::ResourceDialog> ui;
    std::optional<std::uint64_t> m_shownSearch; ///< the search whose result the list shows
};

} // namespace gui
