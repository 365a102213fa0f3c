show 'biz_console rules A5'
