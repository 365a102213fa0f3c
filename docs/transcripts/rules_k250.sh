show 'biz_console rules K250'
