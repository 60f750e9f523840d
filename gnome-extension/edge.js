// The top edge at the centre of a monitor, done the way the shell's hot corner is: a pressure
// barrier that answers a push and leaves clicks alone. A pointer that cannot push (an absolute
// one: a virtual machine's, a tablet's) opens it by resting on the edge instead, unless a click
// there took the pointer first (the clock's calendar is then open).
import Clutter from 'gi://Clutter';
import GLib from 'gi://GLib';
import Meta from 'gi://Meta';
import Shell from 'gi://Shell';

import * as Config from 'resource:///org/gnome/shell/misc/config.js';
import * as Layout from 'resource:///org/gnome/shell/ui/layout.js';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';

// Pixels of push within the timeout. Less than the hot corner's 100: the shelf comes at once.
const PRESSURE_THRESHOLD = 50;
const PRESSURE_TIMEOUT = 1000; // ms
const REST_TIME = 400; // ms
const BUTTONS = Clutter.ModifierType.BUTTON1_MASK | Clutter.ModifierType.BUTTON2_MASK |
    Clutter.ModifierType.BUTTON3_MASK;

const shellMajor = parseInt(Config.PACKAGE_VERSION.split('.')[0]);

// Barriers and the cursor belong to the backend from GNOME 46 on, to the display before.
function barrierHost() {
    return shellMajor >= 46 ? {backend: global.backend} : {display: global.display};
}

function cursorTracker() {
    return shellMajor >= 46 ? global.backend.get_cursor_tracker()
        : Meta.CursorTracker.get_for_display(global.display);
}

export class TopEdge {
    constructor(onPushed) {
        this._onPushed = onPushed;
        this._barrier = null;
        this._pressure = null;
        this._span = null;
        this._tracker = cursorTracker();
        this._movedId = 0;
        this._restId = 0;
    }

    /**
     * From `left` to `right` along the top of `top` (stage coordinates); left === right: none.
     * Not `pushable` (a monitor above, where a barrier would stop the pointer crossing): a rest
     * there is all that counts.
     */
    set(left, right, top, pushable = true) {
        this._clear();
        if (left >= right)
            return;
        this._span = {left, right, top};
        if (pushable) {
            // A pressure barrier of its own each time: one that lost its barrier while pushed
            // would wait for a departure that never comes.
            this._pressure = new Layout.PressureBarrier(PRESSURE_THRESHOLD, PRESSURE_TIMEOUT,
                Shell.ActionMode.NORMAL);
            this._pressure.connect('trigger', () => this._onPushed());
            this._barrier = new Meta.Barrier({
                ...barrierHost(),
                x1: left, x2: right, y1: top, y2: top,
                directions: Meta.BarrierDirection.POSITIVE_Y,
            });
            this._pressure.addBarrier(this._barrier);
        }
        this._movedId = this._tracker.connect('position-invalidated', () => this._moved());
    }

    destroy() {
        this._clear();
    }

    _clear() {
        this._stopRest();
        if (this._movedId)
            this._tracker.disconnect(this._movedId);
        this._movedId = 0;
        this._pressure?.destroy();
        this._pressure = null;
        this._barrier?.destroy();
        this._barrier = null;
        this._span = null;
    }

    _onEdge() {
        const [x, y] = global.get_pointer();
        return this._span !== null && y < this._span.top + 1 && x >= this._span.left &&
            x < this._span.right;
    }

    // Every move of the pointer, anywhere: only one that comes to rest on the edge counts.
    _moved() {
        this._stopRest();
        if (!this._onEdge())
            return;
        this._restId = GLib.timeout_add(GLib.PRIORITY_DEFAULT, REST_TIME, () => {
            this._restId = 0;
            const [, , mods] = global.get_pointer();
            if (this._onEdge() && !(mods & BUTTONS) && (Main.actionMode & Shell.ActionMode.NORMAL))
                this._onPushed();
            return GLib.SOURCE_REMOVE;
        });
    }

    _stopRest() {
        if (this._restId)
            GLib.source_remove(this._restId);
        this._restId = 0;
    }
}
