#include "platform/XWindowList_linux.h"

#include <xcb/xcb.h>
#include <xcb/xproto.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace orvex::platform {
namespace {

// XCB hands out its replies and errors as malloc'd blocks.
struct FreeDeleter
{
    void operator()(void *p) const { std::free(p); }
};
template <typename T> using Owned = std::unique_ptr<T, FreeDeleter>;
using PropertyReply = Owned<xcb_get_property_reply_t>;

// Properties are read whole up to this many 32-bit units (4 MB).
constexpr std::uint32_t kWholeProperty = 1u << 20;

xcb_get_property_cookie_t askProperty(xcb_connection_t *c, xcb_window_t w, xcb_atom_t property,
                                      xcb_atom_t type)
{
    return xcb_get_property(c, 0, w, property, type, 0, kWholeProperty);
}

// Nothing when the window has gone: its error reply is dropped by XCB.
PropertyReply property(xcb_connection_t *c, xcb_get_property_cookie_t cookie)
{
    return PropertyReply(xcb_get_property_reply(c, cookie, nullptr));
}

std::string_view textOf(const PropertyReply &reply)
{
    if (!reply || reply->format != 8)
        return {};
    return {static_cast<const char *>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

std::string latin1ToUtf8(std::string_view bytes)
{
    std::string out;
    out.reserve(bytes.size());
    for (const char b : bytes) {
        const auto c = static_cast<unsigned char>(b);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// _NET_WM_NAME (UTF-8) is the title when the window has one; WM_NAME is the
// fallback. WM_NAME is Latin-1 (STRING), UTF-8, or compound text, which is
// Latin-1 too until an escape sequence switches to another character set;
// such a name, like one in any other encoding, is compared as its bytes.
// Nothing when the window has gone.
std::optional<std::string> windowTitle(const PropertyReply &netWmName, const PropertyReply &wmName,
                                       xcb_atom_t utf8String, xcb_atom_t compoundText)
{
    if (!netWmName || !wmName)
        return std::nullopt;
    if (netWmName->type == utf8String && netWmName->format == 8)
        return std::string(textOf(netWmName));
    const std::string_view bytes = textOf(wmName);
    const bool latin1 =
        wmName->type == XCB_ATOM_STRING ||
        (wmName->type == compoundText && bytes.find('\x1b') == std::string_view::npos);
    return latin1 ? latin1ToUtf8(bytes) : std::string(bytes);
}

// WM_CLASS holds the instance name and the class name, each ended by a zero.
bool classMatches(const PropertyReply &wmClass, const std::string &wanted)
{
    if (!wmClass || wmClass->type != XCB_ATOM_STRING)
        return false;
    const std::string_view both = textOf(wmClass);
    const std::size_t end = both.find('\0');
    const std::string_view instance = both.substr(0, end);
    const std::string_view rest =
        end == std::string_view::npos ? std::string_view() : both.substr(end + 1);
    return wanted == instance || wanted == rest.substr(0, rest.find('\0'));
}

} // namespace

XWindowList::~XWindowList()
{
    disconnect();
}

xcb_connection_t *XWindowList::connection()
{
    // A broken connection (the X server went away) says so here and is
    // replaced; XCB, unlike Xlib, never ends the program over it.
    if (m_connection && xcb_connection_has_error(m_connection))
        disconnect();
    if (!m_connection) {
        xcb_connection_t *c = xcb_connect(nullptr, &m_screen);
        if (xcb_connection_has_error(c)) {
            xcb_disconnect(c);
            return nullptr;
        }
        m_connection = c;
        if (!internAtoms()) {
            disconnect();
            return nullptr;
        }
    }
    return m_connection;
}

void XWindowList::disconnect()
{
    if (m_connection)
        xcb_disconnect(m_connection);
    m_connection = nullptr;
}

bool XWindowList::internAtoms()
{
    const std::pair<const char *, std::uint32_t *> wanted[] = {
        {"_NET_CLIENT_LIST", &m_atoms.clientList},      {"_NET_WM_NAME", &m_atoms.netWmName},
        {"UTF8_STRING", &m_atoms.utf8String},           {"COMPOUND_TEXT", &m_atoms.compoundText},
        {"WM_PROTOCOLS", &m_atoms.protocols},           {"WM_DELETE_WINDOW", &m_atoms.deleteWindow},
        {"_NET_CLOSE_WINDOW", &m_atoms.netCloseWindow},
    };
    std::vector<xcb_intern_atom_cookie_t> cookies;
    for (const auto &[name, atom] : wanted)
        cookies.push_back(
            xcb_intern_atom(m_connection, 0, std::uint16_t(std::string_view(name).size()), name));
    bool all = true;
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const Owned<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(m_connection, cookies[i], nullptr));
        *wanted[i].second = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        all = all && reply;
    }
    return all;
}

std::uint32_t XWindowList::root() const
{
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; i < m_screen && it.rem > 1; ++i)
        xcb_screen_next(&it);
    return it.data ? it.data->root : xcb_window_t(XCB_WINDOW_NONE);
}

// The window manager's list of managed windows when there is one; otherwise
// the root's children and their children (a frame's child is the client).
std::vector<std::uint32_t> XWindowList::topLevelWindows()
{
    xcb_connection_t *c = m_connection;
    const xcb_window_t rootWindow = root();
    // Both asked at once: without a window manager the tree is needed next.
    const auto clientList = askProperty(c, rootWindow, m_atoms.clientList, XCB_ATOM_WINDOW);
    const auto rootTree = xcb_query_tree(c, rootWindow);
    const PropertyReply list = property(c, clientList);
    if (list && list->type == XCB_ATOM_WINDOW && list->format == 32 &&
        xcb_get_property_value_length(list.get()) > 0) {
        xcb_discard_reply(c, rootTree.sequence);
        const auto *ids = static_cast<const xcb_window_t *>(xcb_get_property_value(list.get()));
        return {ids, ids + xcb_get_property_value_length(list.get()) / 4};
    }

    std::vector<std::uint32_t> windows;
    const auto appendChildren = [&](xcb_query_tree_cookie_t cookie) {
        const Owned<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, cookie, nullptr));
        if (tree) {
            const xcb_window_t *children = xcb_query_tree_children(tree.get());
            windows.insert(windows.end(), children,
                           children + xcb_query_tree_children_length(tree.get()));
        }
    };
    appendChildren(rootTree);
    std::vector<xcb_query_tree_cookie_t> frames;
    frames.reserve(windows.size());
    for (const xcb_window_t w : windows)
        frames.push_back(xcb_query_tree(c, w));
    for (const xcb_query_tree_cookie_t cookie : frames)
        appendChildren(cookie);
    return windows;
}

WindowHandle XWindowList::find(const std::string *title, const std::string *className)
{
    xcb_connection_t *c = connection();
    if (!c)
        return 0;
    // Nothing is asked to be sent here, but every client gets some events
    // (a keyboard mapping change): drop what has come so it cannot pile up.
    while (xcb_generic_event_t *event = xcb_poll_for_queued_event(c))
        std::free(event);

    struct Asked
    {
        xcb_window_t window;
        xcb_get_property_cookie_t netWmName, wmName, wmClass;
    };
    std::vector<Asked> asked;
    for (const xcb_window_t w : topLevelWindows()) {
        Asked a{w, {}, {}, {}};
        if (title) {
            a.netWmName = askProperty(c, w, m_atoms.netWmName, m_atoms.utf8String);
            a.wmName = askProperty(c, w, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY);
        }
        if (className)
            a.wmClass = askProperty(c, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
        asked.push_back(a);
    }

    // Every reply is read, also after a match, so that none is left behind.
    WindowHandle byTitle = 0;
    WindowHandle byClass = 0;
    for (const Asked &a : asked) {
        if (title) {
            const PropertyReply netWmName = property(c, a.netWmName);
            const PropertyReply wmName = property(c, a.wmName);
            if (!byTitle &&
                windowTitle(netWmName, wmName, m_atoms.utf8String, m_atoms.compoundText) == *title)
                byTitle = a.window;
        }
        if (className) {
            const PropertyReply wmClass = property(c, a.wmClass);
            if (!byClass && classMatches(wmClass, *className))
                byClass = a.window;
        }
    }
    return byTitle ? byTitle : byClass;
}

bool XWindowList::postClose(WindowHandle handle)
{
    if (handle == 0 || handle > 0xFFFFFFFFu)
        return false;
    xcb_connection_t *c = connection();
    if (!c)
        return false;
    const auto w = static_cast<xcb_window_t>(handle);
    // A handle that is no (longer a) window answers with an error.
    const PropertyReply protocols =
        property(c, askProperty(c, w, m_atoms.protocols, XCB_ATOM_ATOM));
    if (!protocols)
        return false;
    bool polite = false;
    if (protocols->type == XCB_ATOM_ATOM && protocols->format == 32) {
        const auto *atoms =
            static_cast<const xcb_atom_t *>(xcb_get_property_value(protocols.get()));
        const int count = xcb_get_property_value_length(protocols.get()) / 4;
        polite = std::find(atoms, atoms + count, m_atoms.deleteWindow) != atoms + count;
    }

    // Zeroed, so its time stamp says CurrentTime (0).
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = w;
    xcb_void_cookie_t sent;
    if (polite) {
        event.type = m_atoms.protocols;
        event.data.data32[0] = m_atoms.deleteWindow;
        sent = xcb_send_event_checked(c, 0, w, XCB_EVENT_MASK_NO_EVENT,
                                      reinterpret_cast<const char *>(&event));
    } else {
        // EWMH: the window manager closes it for us. The time stamp comes
        // first, then the source: 2 = a pager, i.e. on behalf of the user.
        event.type = m_atoms.netCloseWindow;
        event.data.data32[1] = 2;
        sent = xcb_send_event_checked(
            c, 0, root(), XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
            reinterpret_cast<const char *>(&event));
    }
    return !Owned<xcb_generic_error_t>(xcb_request_check(c, sent));
}

} // namespace orvex::platform
