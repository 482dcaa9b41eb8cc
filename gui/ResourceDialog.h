// SPDX-FileCopyrightText: 2026 The KyVisaConfigure authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDialog>
#include <QStringList>

#include <atomic>
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

/// Lists the resources that VISA sees and lets the user pick one. The list comes from a cache of the process,
/// which a search fills; the dialog searches only on "Refresh".
class ResourceDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ResourceDialog(QWidget* parent);
    ~ResourceDialog() override;

    /// Searches, and replaces the cache by what was found, sorted. Whatever fails leaves the cache without it.
    /// Callable from any thread; a second caller waits for the first and then searches anew.
    static void updateResourceList();

    /// Fills the list from the cache, after a new search where `update` is true. Waits for a running search.
    void refreshList(bool update);

    /// The selected resource string, or an empty one.
    [[nodiscard]] QString getResource() const;

public slots:
    void refreshList();
    void itemDoubleClicked(QListWidgetItem* item);

protected:
    /// Lets the arrow keys select the item that has the focus.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void setupUi();
    void setupConnections();
    void restoreWindowSettings();
    void saveWindowSettings() const;
    /// Whether the list was filled after the last search. False while a search runs.
    [[nodiscard]] bool listIsCurrent() const;
    /// Adds the cache to the list. The caller holds the lock.
    void fillList();

    static QStringList s_resources;        ///< what the last search found
    static std::uint64_t s_searchCount;    ///< the searches of the process so far
    static std::mutex s_resourceListMutex; ///< guards both; held for the whole of a search
    static std::atomic<bool> s_resourceListUpdateInProcess;

    const std::unique_ptr<Ui::ResourceDialog> ui;
    std::optional<std::uint64_t> m_shownSearch; ///< the search whose result the list shows
};

} // namespace gui
