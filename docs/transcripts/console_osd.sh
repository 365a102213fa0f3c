# A terminal shows the progress in place: nothing of it is left.
ln -s "$tree/examples" examples
simulate 'biz_simulator --osd 100 --osd-silent 10 --delay 50 --port 15701'
show 'biz_console osd examples/sessions/osd_100.json' \
    "$(to_real 'biz_console osd examples/sessions/osd_100.json --port 15701')" | sed '/^\.\.\. /d'
