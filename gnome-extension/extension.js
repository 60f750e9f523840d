// What Verrabel cannot have from Xwayland: the top edge at the centre without taking its clicks,
// the pointer while the shelf is open, whether a fullscreen window is up, and a place for its
// menu. Verrabel asks over the session bus (service.js) and decides everything itself; nothing
// here runs while Verrabel does not ask, and disable() undoes it all.
import GLib from 'gi://GLib';

import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';

import {TopEdge} from './edge.js';
import {Indicator} from './indicator.js';
import {ShellService} from './service.js';

const FOLLOW_INTERVAL = 16; // ms: a frame, while the shelf is open

export default class VerrabelExtension extends Extension {
    enable() {
        this._followId = 0;
        this._lastPointer = null;
        this._indicator = null;
        this._edges = [];
        this._service = new ShellService({
            state: () => this._state(),
            watchEdges: edges => this._watchEdges(edges),
            followPointer: follow => this._follow(follow),
            setMenu: (name, entries) => this._setMenu(name, entries),
            clientGone: () => this._reset(),
        });
        this._fullscreenId = global.display.connect('in-fullscreen-changed',
            () => this._service.stateChanged());
        this._monitorsId = Main.layoutManager.connect('monitors-changed',
            () => this._service.stateChanged());
    }

    disable() {
        global.display.disconnect(this._fullscreenId);
        Main.layoutManager.disconnect(this._monitorsId);
        this._reset();
        this._service.destroy();
        this._service = null;
    }

    // The primary monitor, by which Verrabel places the shell's coordinates, and the monitors
    // a fullscreen window is up on.
    _state() {
        const display = global.display;
        const rect = index => {
            const area = display.get_monitor_geometry(index);
            return [area.x, area.y, area.width, area.height];
        };
        const fullscreen = [];
        for (let i = 0; i < display.get_n_monitors(); i++) {
            if (display.get_monitor_in_fullscreen(i))
                fullscreen.push(...rect(i));
        }
        const primary = display.get_primary_monitor();
        return [...(primary < 0 ? [0, 0, 0, 0] : rect(primary)), fullscreen];
    }

    _watchEdges(edges) {
        this._edges.forEach(edge => edge.destroy());
        this._edges = [];
        for (let i = 0; i + 3 < edges.length; i += 4) {
            const index = this._edges.length;
            const edge = new TopEdge(() => this._service.edgePushed(index));
            edge.set(edges[i], edges[i + 1], Math.round(edges[i + 2]), edges[i + 3] !== 0);
            this._edges.push(edge);
        }
    }

    _follow(follow) {
        if (this._followId) {
            GLib.source_remove(this._followId);
            this._followId = 0;
        }
        this._lastPointer = null;
        if (!follow)
            return;
        this._report();
        this._followId = GLib.timeout_add(GLib.PRIORITY_DEFAULT, FOLLOW_INTERVAL, () => {
            this._report();
            return GLib.SOURCE_CONTINUE;
        });
    }

    _report() {
        const [x, y] = global.get_pointer();
        if (this._lastPointer?.[0] === x && this._lastPointer?.[1] === y)
            return;
        this._lastPointer = [x, y];
        this._service.pointerMoved(x, y);
    }

    _setMenu(name, entries) {
        this._indicator?.destroy();
        this._indicator = entries.length > 0
            ? new Indicator(this.uuid, `${this.path}/verrabel.svg`, name, entries,
                index => this._service.menuActivated(index))
            : null;
    }

    _reset() {
        this._watchEdges([]);
        this._follow(false);
        this._setMenu('', []);
    }
}
