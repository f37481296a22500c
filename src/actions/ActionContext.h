#pragma once
// What the maintenance actions work with: the main form hands it over.
#include <QString>

#include <functional>

namespace orvex {

class Adds;
class ProgressCaption;
namespace platform {
class FileTransfer;
class MessageBoxes;
class SocketX;
} // namespace platform

struct ActionContext
{
    Adds *adds = nullptr;
    platform::MessageBoxes *boxes = nullptr;
    platform::SocketX *socket = nullptr;
    platform::FileTransfer *transfer = nullptr;
    // LabelStatus: "done/total" of a transfer.
    ProgressCaption *labelStatus = nullptr;
    // The folder of the program, without a trailing separator.
    QString programFolder;
    // The centre's home server: every request goes to "http://" host path.
    QString homeHost;
    // The main form's controls the actions drive.
    std::function<void(const QString &)> setLabelAvance;
    std::function<void(bool)> enableCmdAccion;
    std::function<bool()> timerScanEnabled;
    std::function<void(bool)> setTimerScanEnabled;
    // Creates the family's shortcuts; empty where nothing can create them.
    std::function<void()> createShortcuts;
};

} // namespace orvex
