#include "Orvel/platform/qt/SystemAppearance.h"

#include <QGuiApplication>
#include <QPalette>

#ifdef ORVEL_WITH_DBUS
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QObject>
#endif

namespace orvel {

#ifdef ORVEL_WITH_DBUS

// The settings portal of freedesktop.org: the key "color-scheme" is 1 for dark, 2 for light and 0 for no
// preference.
class SystemAppearance::Portal : public QObject {
    Q_OBJECT

  public:
    explicit Portal(std::function<void(bool)> changed) : changed(std::move(changed)) {
        auto bus = QDBusConnection::sessionBus();
        if (!bus.isConnected()) return;
        bus.connect(service, path, interface, QStringLiteral("SettingChanged"), this,
                    SLOT(settingChanged(QString, QString, QDBusVariant)));
        auto question = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
        question << nameSpace << key;
        constexpr int patience = 1000; // Milliseconds; nothing waits for the answer.
        auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(question, patience), this);
        connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
            const QDBusPendingReply<QDBusVariant> reply = *answer;
            answer->deleteLater();
            if (reply.isValid()) take(reply.value());
        });
    }

  private slots:
    void settingChanged(const QString& space, const QString& name, const QDBusVariant& value) {
        if (space == nameSpace && name == key) take(value);
    }

  private:
    // Older portals wrap the value twice.
    void take(const QDBusVariant& wrapped) const {
        auto value = wrapped.variant();
        if (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
        const auto scheme = value.toUInt();
        if (scheme == 1 || scheme == 2) changed(scheme == 1);
    }

    const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
    const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
    const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
    const QString nameSpace = QStringLiteral("org.freedesktop.appearance");
    const QString key = QStringLiteral("color-scheme");
    std::function<void(bool)> changed;
};

SystemAppearance::SystemAppearance(std::function<void(bool)> changed)
    : portal(std::make_unique<Portal>(std::move(changed))) {}

#else

class SystemAppearance::Portal {};

SystemAppearance::SystemAppearance(std::function<void(bool)>) {}

#endif

SystemAppearance::~SystemAppearance() = default;

bool SystemAppearance::paletteIsDark() {
    return QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

} // namespace orvel

#ifdef ORVEL_WITH_DBUS
#include "SystemAppearance.moc"
#endif
