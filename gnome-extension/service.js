// Verrabel's interface on the session bus. The shell answers one client, the Verrabel of this
// session: what it asked for lasts while it is on the bus, and goes with it.
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';

const BUS_NAME = 'org.verrabel.Shell';
const OBJECT_PATH = '/org/verrabel/Shell';
// Version 2. A change that an older Verrabel would misread gets a new interface name.
const INTERFACE = `<node>
  <interface name="org.verrabel.Shell2">
    <method name="GetState">
      <arg name="x" type="i" direction="out"/>
      <arg name="y" type="i" direction="out"/>
      <arg name="width" type="i" direction="out"/>
      <arg name="height" type="i" direction="out"/>
      <arg name="fullscreen" type="ai" direction="out"/>
    </method>
    <method name="WatchEdges">
      <arg name="edges" type="ad" direction="in"/>
    </method>
    <method name="FollowPointer">
      <arg name="follow" type="b" direction="in"/>
    </method>
    <method name="SetMenu">
      <arg name="name" type="s" direction="in"/>
      <arg name="entries" type="as" direction="in"/>
    </method>
    <signal name="EdgePushed">
      <arg name="index" type="i"/>
    </signal>
    <signal name="PointerMoved">
      <arg name="x" type="d"/>
      <arg name="y" type="d"/>
    </signal>
    <signal name="StateChanged">
      <arg name="x" type="i"/>
      <arg name="y" type="i"/>
      <arg name="width" type="i"/>
      <arg name="height" type="i"/>
      <arg name="fullscreen" type="ai"/>
    </signal>
    <signal name="MenuActivated">
      <arg name="index" type="i"/>
    </signal>
  </interface>
</node>`;

/**
 * The exported object. `handler` acts on the calls: state() → [x, y, width, height] of the
 * primary monitor in stage coordinates and the same four numbers, one after another, of each
 * monitor a fullscreen window is up on; watchEdges([left, right, top, push, ...]), an edge
 * from left to right along top for each four numbers, pushed against where push is not 0, else
 * only rested on; followPointer(follow); setMenu(name, entries); clientGone().
 */
export class ShellService {
    constructor(handler) {
        this._handler = handler;
        this._client = null;
        this._clientWatch = 0;
        this._object = Gio.DBusExportedObject.wrapJSObject(INTERFACE, this);
        this._object.export(Gio.DBus.session, OBJECT_PATH);
        this._name = Gio.bus_own_name_on_connection(Gio.DBus.session, BUS_NAME,
            Gio.BusNameOwnerFlags.NONE, null, null);
    }

    destroy() {
        this._forgetClient();
        Gio.bus_unown_name(this._name);
        this._object.unexport();
        this._object = null;
    }

    GetStateAsync(_params, invocation) {
        invocation.return_value(new GLib.Variant('(iiiiai)', this._handler.state()));
    }

    WatchEdgesAsync([edges], invocation) {
        this._from(invocation);
        this._handler.watchEdges(edges);
        invocation.return_value(null);
    }

    FollowPointerAsync([follow], invocation) {
        this._from(invocation);
        this._handler.followPointer(follow);
        invocation.return_value(null);
    }

    SetMenuAsync([name, entries], invocation) {
        this._from(invocation);
        this._handler.setMenu(name, entries);
        invocation.return_value(null);
    }

    edgePushed(index) {
        this._object?.emit_signal('EdgePushed', new GLib.Variant('(i)', [index]));
    }

    pointerMoved(x, y) {
        this._object?.emit_signal('PointerMoved', new GLib.Variant('(dd)', [x, y]));
    }

    stateChanged() {
        this._object?.emit_signal('StateChanged',
            new GLib.Variant('(iiiiai)', this._handler.state()));
    }

    menuActivated(index) {
        this._object?.emit_signal('MenuActivated', new GLib.Variant('(i)', [index]));
    }

    // A new client takes over; the last one's requests go with it.
    _from(invocation) {
        const sender = invocation.get_sender();
        if (sender === this._client)
            return;
        if (this._client !== null)
            this._handler.clientGone();
        this._forgetClient();
        this._client = sender;
        this._clientWatch = Gio.bus_watch_name_on_connection(Gio.DBus.session, sender,
            Gio.BusNameWatcherFlags.NONE, null, () => {
                this._forgetClient();
                this._handler.clientGone();
            });
    }

    _forgetClient() {
        if (this._clientWatch)
            Gio.bus_unwatch_name(this._clientWatch);
        this._clientWatch = 0;
        this._client = null;
    }
}
