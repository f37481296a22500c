#include "app/ScanStatus.h"

#include "app/ScanLog.h"

using namespace Qt::Literals::StringLiterals;

Q_LOGGING_CATEGORY(lcScan, "orvex.scan")

namespace orvex {

QString serverStateText(qint32 state)
{
    switch (state) {
    case server_state::Online:
        return u"OK"_s;
    case server_state::ServiceDown:
        return u"DNS:Error/NET:OK"_s;
    case server_state::Unreachable:
        return u"DNS:Error/NET:Error"_s;
    default:
        return {};
    }
}

QString serverLine(const QString &name, qint32 state)
{
    const QString text = serverStateText(state);
    return name + u'\t' + (text.isEmpty() ? u"..."_s : text);
}

ScanStatus judgeServers(const std::vector<DynIpServer> &servers)
{
    ScanStatus status;
    for (const DynIpServer &server : servers) {
        status.overall = std::min(status.overall, server.State);
        if (!status.problems.isEmpty())
            status.problems += u" / "_s;
        if (server.State == server_state::ServiceDown)
            status.problems += server.Name + u": Sin conexión"_s;
        else if (server.State == server_state::Unreachable)
            status.problems += server.Name + u": Sin internet"_s;
        if (server.State != server.PrevState)
            status.changed = true;
    }
    return status;
}

QString ScanStatus::statusText() const
{
    switch (overall) {
    case server_state::Online:
        return u"Sistema en linea"_s;
    case server_state::ServiceDown:
        return u"Conectividad limitada"_s;
    case server_state::Unreachable:
        return u"Sin conexión"_s;
    default:
        return {};
    }
}

QString ScanStatus::recommendation() const
{
    switch (overall) {
    case server_state::Online:
        return u"Felicitaciones!. Su sistema se encuentra en linea y preparado para recibir casos"_s;
    case server_state::ServiceDown:
        return u"Atención!: Parece que Ud. tiene internet, pero una de las compañias a las que "
               u"está conectado no se encuentra en linea. si en 15 minutos la situación no se "
               u"restablece por si sola, por favor contáctese a la misma para poder restablecer "
               u"el servicio."_s;
    case server_state::Unreachable:
        return u"Atención!: Parece no haber conexión a Internet. Pruebe desconectarse y "
               u"reconectarse a su proveedor, reinice su PC, y si aún así no tiene éxito, "
               u"contactese con su prestador de Internet para informarle de su inconveniente."_s;
    default:
        return {};
    }
}

int ScanStatus::basePicture() const
{
    switch (overall) {
    case server_state::Online:
        return 4;
    case server_state::ServiceDown:
        return 2;
    case server_state::Unreachable:
        return 0;
    default:
        return -1;
    }
}

QString ScanStatus::trayTip() const
{
    QString shown = hasRow() ? statusText() : problems;
    if (shown.isEmpty())
        shown = u"Sistema en linea"_s;
    return u"Orvex - "_s + shown;
}

QString serverTip(const DynIpServer &s)
{
    const auto when = [](const QDateTime &t) {
        return t.isNull() ? u"nunca"_s : t.toString(u"dd/MM HH:mm:ss"_s);
    };
    QString tip = s.Host + u':' + s.Port + u" (" + s.Version + u")\n" + u"Último intento: "_s +
                  when(s.LastAttempt) + u'\n' + u"Última respuesta: "_s + when(s.LastSuccess);
    if (s.State != server_state::Online && !s.LastFailure.isEmpty())
        tip += u"\nFalla: "_s + s.LastFailure;
    return tip;
}

} // namespace orvex
