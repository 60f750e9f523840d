// Verrabel's menu as an indicator in the top bar, where GNOME shows no tray.
import Gio from 'gi://Gio';
import St from 'gi://St';

import * as Main from 'resource:///org/gnome/shell/ui/main.js';
import * as PanelMenu from 'resource:///org/gnome/shell/ui/panelMenu.js';
import * as PopupMenu from 'resource:///org/gnome/shell/ui/popupMenu.js';

export class Indicator {
    /** `entries` are the menu's titles in order, '' for a separator; a choice calls onChosen(i). */
    constructor(role, iconFile, name, entries, onChosen) {
        this._button = new PanelMenu.Button(0.5, name, false);
        this._button.add_child(new St.Icon({
            gicon: Gio.FileIcon.new(Gio.File.new_for_path(iconFile)),
            style_class: 'system-status-icon',
        }));
        entries.forEach((title, index) => {
            if (title === '') {
                this._button.menu.addMenuItem(new PopupMenu.PopupSeparatorMenuItem());
                return;
            }
            const item = new PopupMenu.PopupMenuItem(title);
            item.connect('activate', () => onChosen(index));
            this._button.menu.addMenuItem(item);
        });
        Main.panel.addToStatusArea(role, this._button);
    }

    destroy() {
        this._button.destroy();
        this._button = null;
    }
}
